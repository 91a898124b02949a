#include "sync_lists.h"

namespace roamer
{

SyncLists::SyncLists(const std::optional<AmruVEXRecord>& userRecord, RoamerPreferences& preferences,
                     HomeLocations& locations, platform::FileSystem& fileSystem, platform::Predicates& predicates,
                     platform::EffectiveUser& effectiveUser)
    : mPredicates(predicates), mExclusionLists(userRecord, preferences, predicates, effectiveUser),
      mInclusionLists(userRecord, preferences, locations, fileSystem, mExclusionLists, effectiveUser)
{
}

InclusionSet SyncLists::getSyncLists(std::int32_t syncType, const std::optional<std::string>& networkHomeMountpoint,
                                     MatchRules* exclusionList)
{
    if (exclusionList == nullptr) return mInclusionLists.getInclusionList(syncType, networkHomeMountpoint);

    std::optional<MatchRules> extraExclusions;
    auto inclusionList = mInclusionLists.getInclusionList(syncType, networkHomeMountpoint, &extraExclusions);
    *exclusionList = mExclusionLists.getExclusionList(syncType, extraExclusions);
    return withoutExcluded(std::move(inclusionList), *exclusionList);
}

/// An empty set is the whole home, so a set that loses its last entry must become none.
InclusionSet SyncLists::withoutExcluded(InclusionSet inclusionList, const MatchRules& rules)
{
    if (!inclusionList || inclusionList->empty()) return inclusionList;
    for (const auto& rule : rules) {
        std::erase_if(*inclusionList, mPredicates.compile(rule));
        if (inclusionList->empty()) return std::nullopt;
    }
    return inclusionList;
}

} // namespace roamer
