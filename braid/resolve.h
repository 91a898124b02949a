#pragma once

#include <filesystem>
#include <stop_token>
#include <string>
#include <utility>
#include <vector>

#include "braid/engine.h"

namespace braid
{

enum class Keep {
    Local,
    Network,
    Both, ///< Where one side deleted the item: the version that there is.
};

/// A person's decision on recorded conflicts.
struct Resolution {
    std::filesystem::path localHome;
    std::filesystem::path networkHome; ///< Empty: where the last pass reached it.
    std::vector<std::string> paths;    ///< Home-relative, each the path of a recorded conflict.
    Keep keep = Keep::Local;
    std::vector<MatchRule> exclusions; ///< Of the passes that recorded them: what they cover stays as it is.
};

struct ResolutionReport {
    PassReport pass; ///< Refused where a path has no conflict or the homes are not the pair; then nothing was done.
    std::vector<std::pair<std::string, std::string>> beside; ///< Keep::Both: path, and the network version's new path.
};

/// Carries the decision out as a pass over these paths alone, so that the version that is not kept goes to the trash of
/// its home. Killed on the way, it leaves what another pass can go on from. The lock is as for runPass().
ResolutionReport resolveConflicts(const Resolution& resolution, const std::stop_token& stop,
                                  EngineLock* held = nullptr);

} // namespace braid
