#pragma once

#include <cstdint>
#include <filesystem>
#include <optional>
#include <string>
#include <vector>

#include "braid/engine.h"

namespace braid::agent
{

/// A computer that syncs with a network home, as it said itself after its last pass. Names no file of the person's.
struct Computer {
    std::string id; ///< Of its copy of the home; two computers may have one name.
    std::string name;
    std::int64_t lastPass = 0;     ///< Seconds since 1970, by its own clock.
    std::int64_t lastGoodPass = 0; ///< The last one that ran to its end; 0: none that is known.
    std::uint64_t conflicts = 0;
    std::uint64_t heldDeletions = 0; ///< Passes that would have emptied a home and wait for a person to say so.
    std::uint64_t errors = 0;        ///< Items that could not be synced.
    std::string version;             ///< Of the engine.
};

/// The computers that noted a pass with this network home. Follows no links.
std::vector<Computer> computersOf(const std::filesystem::path& networkHome);

/// Notes in the network home's marker folder what came of this computer's pass, and answers the others that synced with
/// it. Fails silently: it is for people only.
std::vector<Computer> meetComputers(const std::filesystem::path& networkHome, const std::filesystem::path& localHome,
                                    const PassReport& report);

/// What this computer calls itself.
std::string thisComputer();

/// Whose pass brought a version there that was last changed at `mtime` (nanoseconds since 1970), as far as that can be
/// told: the only one that synced since then. Null when several did or none.
std::optional<std::string> whoBrought(std::int64_t mtime, const std::vector<Computer>& others);

} // namespace braid::agent
