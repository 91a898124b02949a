#pragma once

#include <cstdint>
#include <optional>

#include "directory/amru_vex_record.h"
#include "home/roamer_preferences.h"
#include "list_keys.h"
#include "list_source.h"
#include "platform/effective_user.h"
#include "platform/predicates.h"
#include "values/match_rule.h"

namespace roamer
{

/// The rules that keep items out of a sync: the administrator's, the person's or the defaults, and those of every sync.
class ExclusionLists
{
public:
    /// Borrows everything; `userRecord` is the account at the time of each call.
    ExclusionLists(const std::optional<AmruVEXRecord>& userRecord, RoamerPreferences& preferences,
                   platform::Predicates& predicates, platform::EffectiveUser& effectiveUser);

    /// All rules of a type, `extraExclusions` included. A rule that cannot be evaluated is logged and left out.
    MatchRules getExclusionList(std::int32_t syncType, const std::optional<MatchRules>& extraExclusions);

    /// The rules that exclude the preference items of a home.
    MatchRules preferenceExcludeList();

private:
    std::optional<Array> userList(const ListKeys& keys);
    void addRules(const std::optional<Array>& list, MatchRules& rules);
    void addRule(const MatchRule& rule, MatchRules& rules);
    bool canBeEvaluated(const MatchRule& rule);

    const std::optional<AmruVEXRecord>& mUserRecord;
    RoamerPreferences& mPreferences;
    platform::Predicates& mPredicates;
    platform::EffectiveUser& mEffectiveUser;
    ListSource mSource;
};

} // namespace roamer
