#include "exclusion_lists.h"

#include "exclusion_entry.h"
#include "inclusion_entry.h"
#include "list_keys.h"
#include "list_text.h"
#include "platform/failure.h"
#include "util/debug_log.h"

namespace roamer
{

ExclusionLists::ExclusionLists(const std::optional<AmruVEXRecord>& userRecord, RoamerPreferences& preferences,
                               platform::Predicates& predicates, platform::EffectiveUser& effectiveUser)
    : mUserRecord(userRecord), mPreferences(preferences), mPredicates(predicates), mEffectiveUser(effectiveUser),
      mSource(preferences, "getExclusionList")
{
}

MatchRules ExclusionLists::getExclusionList(std::int32_t syncType, const std::optional<MatchRules>& extraExclusions)
{
    MatchRules rules = extraExclusions.value_or(MatchRules{});
    DebugLog(2, "Pavo.getExclusionList(%s)", syncTypeUTF8String(syncType).c_str());
    mSource.warnAboutRoot(mUserRecord, mEffectiveUser);

    const auto& keys = listKeys(syncType);
    if (mPreferences.roamerValueIsForced(keys.exclusionsManaged)) addRules(mSource.list(keys.exclusionsManaged), rules);
    if (!mSource.userIsReplaced(keys.replaceUser)) addRules(userList(keys), rules);
    addRules(mSource.defaultList(kExcludedAlways), rules);

    DebugLog(2, "Pavo.getExclusionList exclusionList returning %d items.", static_cast<int>(rules.size()));
    return rules;
}

/// The person's list, or the default one. A person's list that still is the default of an earlier version was copied by
/// that version rather than chosen, so today's default takes its place.
std::optional<Array> ExclusionLists::userList(const ListKeys& keys)
{
    auto list = mSource.list(keys.exclusions);
    if (list && keys.earlierExclusions != nullptr && list == mPreferences.getDefaultList(keys.earlierExclusions)) {
        DebugLog(2, "Pavo.getExclusionList: getDefaultList(\"%s\") matches exclusion list.", keys.earlierExclusions);
        list.reset();
    }
    return list ? list : mSource.defaultList(keys.exclusions);
}

void ExclusionLists::addRules(const std::optional<Array>& list, MatchRules& rules)
{
    if (!list) return;
    DebugLog(2, "Pavo.getExclusionList - found exclusion list with %d elements", countOf(list));
    for (const auto& element : *list) {
        if (const auto rule = ruleFromExclusionEntry(element)) addRule(*rule, rules);
    }
}

void ExclusionLists::addRule(const MatchRule& rule, MatchRules& rules)
{
    if (!rules.contains(rule) && canBeEvaluated(rule)) rules.insert(rule);
}

/// The engine would refuse the whole job for one rule that it cannot read.
bool ExclusionLists::canBeEvaluated(const MatchRule& rule)
{
    try {
        mPredicates.compile(rule);
        return true;
    } catch (const platform::Failure& failure) {
        DebugLog(1, "Pavo.getExclusionList caught exception: format=\"%s\", value=\"%s\", name=\"%s\", reason=\"%s\"",
                 std::string(comparisonFormat(rule.form)).c_str(), rule.value.c_str(), failure.name().c_str(),
                 failure.reason().c_str());
        return false;
    }
}

MatchRules ExclusionLists::preferenceExcludeList()
{
    MatchRules rules{{ComparisonForm::PathBeginsWith, "."}};
    const auto folders = includeListFromPavoIncludeList(mPreferences.getDefaultList(kSyncedPrefFolders));
    if (!folders) return rules;
    for (const auto& folder : *folders) {
        if (!folder.starts_with(".")) addRule({ComparisonForm::PathLike, folder}, rules);
    }
    return rules;
}

} // namespace roamer
