#include <gtest/gtest.h>

#include "lists/exclusion_entry.h"
#include "tests/lists/home_rig.h"

namespace
{

using namespace roamer;
using namespace lists_test;
using enum ComparisonForm;
using Paths = std::set<std::string>;

TEST(ExclusionEntry, BecomesARule)
{
    struct Case {
        const char* comparison;
        const char* value;
        std::optional<MatchRule> expected;
    } const cases[] = {
        {"partialPath", "a/tmp", MatchRule{PathContains, "a/tmp"}},
        {"is", "~~old", MatchRule{NameLike, "~old"}},
        {"fullPath", "~/.cache", MatchRule{PathLike, ".cache"}},
        {"FullPath", "Music", MatchRule{PathEquals, "Music"}}, // any other word is the exact path
        {"startsWith", "~/Zil-", MatchRule{PathLike, "Library/Mail/Zil-*"}},
        {"startsWith", "imap-", MatchRule{NameBeginsWith, "imap-"}},
        {"is", "~/", {}},
        {"startsWith", "", {}}, // would match everything
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(std::string(c.comparison) + " " + c.value);
        EXPECT_EQ(ruleFromExclusionEntry(rules({{c.comparison, c.value}}).front()), c.expected);
    }
    for (const auto& other : {PropertyList("core"), PropertyList(Dictionary{{"comparison", "is"}, {"value", 3}})})
        EXPECT_EQ(ruleFromExclusionEntry(other), std::nullopt);
}

Array is(std::initializer_list<const char*> names)
{
    Array result;
    for (const auto* name : names)
        result.push_back(rules({{"is", name}}).front());
    return result;
}

Paths valuesOf(const MatchRules& rules)
{
    Paths values;
    for (const auto& rule : rules)
        values.insert(rule.value);
    return values;
}

TEST(ExclusionList, AddsUpTheLayers)
{
    constexpr const char* kOwn = "excludedPrefItems";
    constexpr const char* kManaged = "excludedPrefItems-managed";
    const Array broken = rules({{"regex", "(open"}, {"regexPath", "[z-a]"}, {"is", "own"}});
    struct Case {
        const char* name;
        SyncType type;
        Dictionary managed, user;
        Paths expected; ///< Besides the rule of every sync.
    } const cases[] = {
        {"the defaults where nobody says anything", kLoginPrefSync, {}, {}, {"default pref"}},
        {"a list of one's own replaces the defaults", kLoginPrefSync, {}, {{kOwn, is({"own"})}}, {"own"}},
        {"one that cannot be evaluated is left out", kLoginSync, {}, {{kOwn, broken}}, {"own"}},
        {"an empty one too", kPeriodicSync, {}, {{"excludedItems", Array{}}}, {}},
        {"managed comes on top", kLoginSync, {{kManaged, is({"m"})}}, {{kOwn, is({"own"})}}, {"m", "own"}},
        {"the user cannot manage", kLoginPrefSync, {}, {{kManaged, is({"own"})}}, {"default pref"}},
        {"replaced", kLoginSync, {{"replaceUserPrefSyncList", true}}, {{kOwn, is({"own"})}}, {}},
        {"the earlier default gives way to today's", kLogoutSync, {}, {{kOwn, is({"e1", "e2"})}}, {"default pref"}},
        {"another order is one's own", kLogoutSync, {}, {{kOwn, is({"e2", "e1"})}}, {"e1", "e2"}},
        {"no earlier background list", kPeriodicSync, {}, {{"excludedItems", is({"e1", "e2"})}}, {"e1", "e2"}},
    };
    for (auto c : cases) {
        SCOPED_TRACE(c.name);
        HomeRig rig;
        rig.setDefaults({{"excludedAlways", is({"always"})},
                         {"excludedPrefItems", is({"default pref"})},
                         {"excludedItems", is({"default"})},
                         {"excludedPrefItems-10.4.3", is({"e1", "e2"})}});
        rig.setManaged(c.managed);
        rig.setUser(c.user);
        c.expected.merge(Paths{"always", "extra"});
        EXPECT_EQ(valuesOf(rig.exclusions.getExclusionList(c.type, MatchRules{{PathBeginsWith, "extra"}})), c.expected);
    }
}

TEST(SyncLists, ReadTheEntriesAndClearThemOfWhatTheRulesExclude)
{
    struct Case {
        const char* name;
        Array inclusions, exclusions;
        InclusionSet expected;
    } const cases[] = {
        {"an empty list covers nothing, not everything", {}, {}, {}},
        {"the whole home wins over entries before it", paths({"~/Documents", "~"}), {}, Paths{}},
        {"the whole home wins over entries after it", paths({"~/", "Music"}), {}, Paths{}},
        {"only one tilde goes", paths({"~Music", "Music", "~/Music", "~~old"}), {}, Paths{"Music", "~old"}},
        {"nothing but other shapes", {"Documents"}, {}, {}},
        {"a name, in whatever case", paths({"Documents", "Music"}), is({"music"}), Paths{"Documents"}},
        {"the last one gone is nothing, not the whole home", paths({"Mail", "Music"}), is({"music", "mail"}), {}},
        {"the name is the last component", paths({"Work/Music", "Music/A"}), is({"music"}), Paths{"Music/A"}},
        {"the whole home stays for the engine", paths({"~"}), rules({{"contains", "u"}}), Paths{}},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        HomeRig rig;
        rig.setUser({{"syncedFolders", c.inclusions}, {"excludedItems", c.exclusions}});
        MatchRules exclusions;
        EXPECT_EQ(rig.lists.getSyncLists(kPeriodicSync, {}, &exclusions), c.expected);
    }
}

} // namespace
