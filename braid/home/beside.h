#pragma once

#include <cstdint>
#include <string>
#include <string_view>

namespace braid
{

/// A name for a second version next to `name`: "plan (network, 2026-01-31).txt", with the day that the version was
/// last changed on, and from the second `attempt` on "plan (network, 2026-01-31, 2).txt". A folder's name has no
/// extension. Never longer than a file system takes.
std::string nameBeside(std::string_view name, std::string_view label, std::int64_t mtime, bool isFolder,
                       unsigned attempt);

/// How many such names are worth trying.
inline constexpr unsigned kMostNamesBeside = 1000;

} // namespace braid
