#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "directory/amru_vex_record.h"
#include "exclusion_lists.h"
#include "home/home_locations.h"
#include "home/roamer_preferences.h"
#include "inclusion_lists.h"
#include "platform/effective_user.h"
#include "platform/file_system.h"
#include "platform/predicates.h"
#include "values/inclusion_set.h"
#include "values/match_rule.h"

namespace roamer
{

/// What a sync of a given type covers: the one entry point to the inclusion lists and exclusion rules.
class SyncLists
{
public:
    /// Borrows everything; `userRecord` is the account at the time of each call.
    SyncLists(const std::optional<AmruVEXRecord>& userRecord, RoamerPreferences& preferences, HomeLocations& locations,
              platform::FileSystem& fileSystem, platform::Predicates& predicates,
              platform::EffectiveUser& effectiveUser);

    /// The inclusion set of the type, without the entries that a rule of the type excludes. No value: leave the job
    /// out. Without `exclusionList` no rule is looked at; else it receives the type's rules, also when there is no job.
    InclusionSet getSyncLists(std::int32_t syncType, const std::optional<std::string>& networkHomeMountpoint,
                              MatchRules* exclusionList = nullptr);

private:
    InclusionSet withoutExcluded(InclusionSet inclusionList, const MatchRules& rules);

    platform::Predicates& mPredicates;
    ExclusionLists mExclusionLists;
    InclusionLists mInclusionLists;
};

} // namespace roamer
