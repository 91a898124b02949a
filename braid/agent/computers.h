#pragma once

#include <cstdint>
#include <filesystem>
#include <optional>
#include <string>
#include <vector>

namespace braid::agent
{

/// A computer that syncs with a network home, as it said itself.
struct Computer {
    std::string name;
    std::int64_t lastPass = 0; ///< Seconds since 1970, by its own clock.
};

/// Notes in the network home's marker folder that this computer synced with it now, and answers the others that did.
/// Fails silently: it is for people only.
std::vector<Computer> meetComputers(const std::filesystem::path& networkHome, const std::filesystem::path& localHome);

/// What this computer calls itself.
std::string thisComputer();

/// Whose pass brought a version there that was last changed at `mtime` (nanoseconds since 1970), as far as that can be
/// told: the only one that synced since then. Null when several did or none.
std::optional<std::string> whoBrought(std::int64_t mtime, const std::vector<Computer>& others);

} // namespace braid::agent
