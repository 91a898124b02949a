#pragma once

#include <cstdint>
#include <optional>
#include <set>
#include <string>

#include "directory/amru_vex_record.h"
#include "exclusion_lists.h"
#include "home/home_locations.h"
#include "home/roamer_preferences.h"
#include "list_keys.h"
#include "list_source.h"
#include "platform/effective_user.h"
#include "platform/file_system.h"
#include "values/inclusion_set.h"
#include "values/match_rule.h"

namespace roamer
{

/// Which items of the home a sync covers: the list that applies, narrowed to the type's share of the home.
///
/// `networkHomeMountpoint` is where the network share lies now, null when it is not mounted. `extraExclusions`, where a
/// caller gives it, receives the rules that the sync must add to its own, or null when there are none to add.
class InclusionLists
{
public:
    /// Borrows everything; `userRecord` is the account at the time of each call.
    InclusionLists(const std::optional<AmruVEXRecord>& userRecord, RoamerPreferences& preferences,
                   HomeLocations& locations, platform::FileSystem& fileSystem, ExclusionLists& exclusionLists,
                   platform::EffectiveUser& effectiveUser);

    InclusionSet getInclusionList(std::int32_t syncType, const std::optional<std::string>& networkHomeMountpoint,
                                  std::optional<MatchRules>* extraExclusions = nullptr);

    InclusionSet filterInclusionList(const InclusionSet& inclusionList, std::int32_t syncType,
                                     const std::optional<std::string>& networkHomeMountpoint,
                                     std::optional<MatchRules>* extraExclusions = nullptr);

    /// The preference items: the default preference folders, and whatever is hidden at the top of either home now.
    std::set<std::string> preferenceIncludeList(const std::optional<std::string>& networkHomeMountpoint);

private:
    std::optional<Array> chosenList(const ListKeys& keys);
    std::optional<Array> listWithoutUserSetting(const char* key);
    InclusionSet preferenceShare(const std::set<std::string>& paths,
                                 const std::optional<std::string>& networkHomeMountpoint);
    InclusionSet nonPreferenceShare(std::set<std::string> paths,
                                    const std::optional<std::string>& networkHomeMountpoint);
    void excludePreferenceItems(const std::string& typeName, std::optional<MatchRules>* extraExclusions);
    void addHiddenItems(const std::optional<std::string>& home, std::set<std::string>& items);

    const std::optional<AmruVEXRecord>& mUserRecord;
    RoamerPreferences& mPreferences;
    HomeLocations& mLocations;
    platform::FileSystem& mFileSystem;
    ExclusionLists& mExclusionLists;
    platform::EffectiveUser& mEffectiveUser;
    ListSource mSource;
};

} // namespace roamer
