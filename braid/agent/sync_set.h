#pragma once

#include <optional>
#include <set>
#include <string>
#include <variant>
#include <vector>

#include "values/match_rule.h"
#include "values/property_list.h"

namespace braid::agent
{

/// What one home's side of the set was given; the agent gives both homes the same.
struct PeerSets {
    std::vector<std::set<std::string>> inclusions; ///< One per job; an empty one is the whole home.
    std::vector<roamer::MatchRules> exclusions;    ///< One per job, in the same order.

    friend bool operator==(const PeerSets&, const PeerSets&) = default;
};

/// The portable home's sync set: what to sync with what, how, and when by itself.
struct SyncSet {
    std::string name;
    std::optional<std::string> remoteHomeXMLSpec; ///< URL of the share.
    std::optional<std::string> mountSuffixPath;   ///< The home's path below the share.
    std::optional<std::string> remoteHomePath;    ///< Where the network home lies now, without the system root.
    PeerSets local;
    PeerSets remote;
    std::vector<roamer::Dictionary> defaultSyncOptions;
    double automaticSyncInterval = 1200; ///< Seconds.
    bool autoSyncOnFileSystemModification = false;
    bool isAutomaticallySyncing = false;
    std::optional<roamer::Date> nextSyncTime;

    friend bool operator==(const SyncSet&, const SyncSet&) = default;
};

/// The set under the keys of the protocol; a text that is missing is "", a missing time is left out.
roamer::Dictionary describe(const SyncSet& set);

/// The set with all the changes made (keys of the protocol), or in words why one of them is impossible.
std::variant<SyncSet, std::string> changed(SyncSet set, const roamer::Dictionary& changes);

} // namespace braid::agent
