#pragma once

#include <cstddef>
#include <filesystem>
#include <optional>
#include <span>
#include <string>
#include <variant>
#include <vector>

namespace braid::agent
{

/// The whole content, nothing when there is no such file, or in words why it cannot be read. Refuses what is not a
/// regular file or is larger than `limitBytes`.
std::variant<std::monostate, std::vector<std::byte>, std::string> readFile(const std::filesystem::path& path,
                                                                           std::size_t limitBytes);

/// Replaces the file (mode 0600) in one step that survives a loss of power, or says in words why it could not; the
/// earlier file then still stands.
[[nodiscard]] std::optional<std::string> replaceFile(const std::filesystem::path& path,
                                                     std::span<const std::byte> bytes);

/// The same for a file in the marker folder of the local home, where a full disk has the room that is held for the
/// archive.
[[nodiscard]] std::optional<std::string> replaceFileOfHome(const std::filesystem::path& path,
                                                           std::span<const std::byte> bytes);

/// Makes the removal or renaming of entries of the folder durable, as far as its file system can.
void syncFolder(const std::filesystem::path& folder);

} // namespace braid::agent
