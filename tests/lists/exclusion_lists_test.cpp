#include <gtest/gtest.h>

#include "lists/exclusion_entry.h"
#include "tests/lists/home_rig.h"

namespace
{

using namespace roamer;
using namespace lists_test;
using enum ComparisonForm;
using Paths = std::set<std::string>;

struct EntryCase {
    const char* name;
    PropertyList entry;
    std::optional<MatchRule> expected;
};

PropertyList entry(const char* comparison, const char* value)
{
    return Dictionary{{"comparison", comparison}, {"value", value}};
}

TEST(ExclusionEntry, BecomesARule)
{
    const EntryCase cases[] = {
        {"startsWith", entry("startsWith", "tmp"), MatchRule{NameBeginsWith, "tmp"}},
        {"endsWith", entry("endsWith", ".tmp"), MatchRule{NameEndsWith, ".tmp"}},
        {"contains", entry("contains", "tmp"), MatchRule{NameContains, "tmp"}},
        {"partialPath", entry("partialPath", "a/tmp"), MatchRule{PathContains, "a/tmp"}},
        {"regex", entry("regex", ".+[0-9]"), MatchRule{NameMatches, ".+[0-9]"}},
        {"regexPath", entry("regexPath", "a/.+"), MatchRule{PathMatches, "a/.+"}},
        {"is", entry("is", "core"), MatchRule{NameLike, "core"}},
        {"fullPath", entry("fullPath", "~/.cache"), MatchRule{PathLike, ".cache"}},
        {"another word is the exact path", entry("equals", "~Music"), MatchRule{PathEquals, "Music"}},
        {"letter case makes another word", entry("FullPath", "Music"), MatchRule{PathEquals, "Music"}},
        {"mail accounts", entry("startsWith", "IMAP-"), MatchRule{PathLike, "Library/Mail/IMAP-*"}},
        {"mail accounts after a tilde", entry("startsWith", "~/Zil-"), MatchRule{PathLike, "Library/Mail/Zil-*"}},
        {"mail accounts, third kind", entry("startsWith", "Exchange-"), MatchRule{PathLike, "Library/Mail/Exchange-*"}},
        {"no mail account in lower case", entry("startsWith", "imap-"), MatchRule{NameBeginsWith, "imap-"}},
        {"no mail account in another comparison", entry("is", "IMAP-"), MatchRule{NameLike, "IMAP-"}},
        {"only a tilde", entry("is", "~"), {}},
        {"only a tilde and a slash", entry("is", "~/"), {}},
        {"an empty value would match everything", entry("startsWith", ""), {}},
        {"a second tilde stays", entry("is", "~~old"), MatchRule{NameLike, "~old"}},
        {"no dictionary", "core", {}},
        {"no comparison", Dictionary{{"value", "core"}}, {}},
        {"no value", Dictionary{{"comparison", "is"}}, {}},
        {"a value that is no string", Dictionary{{"comparison", "is"}, {"value", 3}}, {}},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        EXPECT_EQ(ruleFromExclusionEntry(c.entry), c.expected);
    }
}

struct LayersCase {
    const char* name;
    SyncType type;
    Dictionary managed;
    Dictionary user;
    MatchRules expected;
};

MatchRules names(std::initializer_list<const char*> values)
{
    MatchRules result;
    for (const auto* value : values)
        result.insert({NameLike, value});
    return result;
}

TEST(ExclusionList, AddsUpTheLayers)
{
    const Dictionary defaults{
        {"excludedAlways", rules({{"is", "always"}})},
        {"excludedPrefItems", rules({{"is", "default pref"}})},
        {"excludedItems", rules({{"is", "default"}})},
        {"excludedPrefItems-10.4.3", rules({{"is", "early"}, {"is", "earlier"}})},
    };
    const LayersCase cases[] = {
        {"the defaults where nobody says anything", kLoginPrefSync, {}, {}, names({"default pref", "always"})},
        {"the defaults of the background set", kLoginPeriodicSync, {}, {}, names({"default", "always"})},
        {"a list of one's own replaces the defaults, never the rules of every sync",
         kLoginPrefSync,
         {},
         {{"excludedPrefItems", rules({{"is", "own"}})}},
         names({"own", "always"})},
        {"an empty list of one's own too", kPeriodicSync, {}, {{"excludedItems", Array{}}}, names({"always"})},
        {"the administrator's rules come on top",
         kLoginPrefSync,
         {{"excludedPrefItems-managed", rules({{"is", "managed"}, {"is", "own"}})}},
         {{"excludedPrefItems", rules({{"is", "own"}})}},
         names({"managed", "own", "always"})},
        {"a managed list that is no array adds nothing",
         kLoginPrefSync,
         {{"excludedPrefItems-managed", "managed"}},
         {},
         names({"default pref", "always"})},
        {"the user cannot manage",
         kLoginPrefSync,
         {},
         {{"excludedPrefItems-managed", rules({{"is", "own"}})}},
         names({"default pref", "always"})},
        {"replaced: neither own nor default rules",
         kPeriodicSync,
         {{"replaceUserSyncList", true}, {"excludedItems-managed", rules({{"is", "managed"}})}},
         {{"excludedItems", rules({{"is", "own"}})}},
         names({"managed", "always"})},
        {"the user cannot replace",
         kPeriodicSync,
         {},
         {{"excludedItems", rules({{"is", "own"}})}, {"replaceUserSyncList", true}},
         names({"own", "always"})},
        {"the earlier default list gives way to today's",
         kLogoutSync,
         {},
         {{"excludedPrefItems", rules({{"is", "early"}, {"is", "earlier"}})}},
         names({"default pref", "always"})},
        {"one entry more makes it a list of one's own",
         kLogoutSync,
         {},
         {{"excludedPrefItems", rules({{"is", "early"}, {"is", "earlier"}, {"is", "own"}})}},
         names({"early", "earlier", "own", "always"})},
        {"another order too",
         kLogoutSync,
         {},
         {{"excludedPrefItems", rules({{"is", "earlier"}, {"is", "early"}})}},
         names({"early", "earlier", "always"})},
        {"the background set has no earlier list",
         kPeriodicSync,
         {},
         {{"excludedItems", rules({{"is", "early"}, {"is", "earlier"}})}},
         names({"early", "earlier", "always"})},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        HomeRig rig;
        rig.setDefaults(defaults);
        rig.setManaged(c.managed);
        rig.setUser(c.user);
        EXPECT_EQ(rig.exclusions.getExclusionList(c.type, {}), c.expected);

        auto expectedWithExtra = c.expected;
        expectedWithExtra.insert({PathBeginsWith, "."});
        EXPECT_EQ(rig.exclusions.getExclusionList(c.type, MatchRules{{PathBeginsWith, "."}}), expectedWithExtra);
    }
}

TEST(ExclusionList, LeavesOutWhatCannotBeEvaluated)
{
    HomeRig rig;
    rig.setUser({{"excludedItems", rules({{"regex", "(open"}, {"regexPath", "[z-a]"}, {"is", "core"}})}});
    EXPECT_EQ(rig.exclusions.getExclusionList(kPeriodicSync, {}), names({"core"}));
    EXPECT_EQ(rig.log.countContaining("format=\"name MATCHES %@\", value=\"(open\", name=\"InvalidArgument\""), 1);
    EXPECT_EQ(rig.log.countContaining("format=\"path MATCHES %@\", value=\"[z-a]\""), 1);
    EXPECT_TRUE(rig.log.has(2, "Pavo.getExclusionList exclusionList returning 1 items."));
}

TEST(ExclusionList, SaysInTheLogWhichDefaultsItUsed)
{
    HomeRig rig;
    const auto earlier = rules({{"is", "early"}});
    rig.setDefaults({{"excludedPrefItems-10.4.3", earlier}});
    rig.setUser({{"excludedPrefItems", earlier}});
    rig.userRecord = fakes::makeUserRecord(
        {{"axAttrTypeStandard:UniqueID", "0"}, {"axAttrTypeStandard:NFSHomeDirectory", rig.localHome}});
    rig.exclusions.getExclusionList(kLoginPrefSync, {});
    EXPECT_TRUE(rig.log.has(2, "Pavo.getExclusionList(kLoginPrefSync)"));
    EXPECT_TRUE(rig.log.has(1, "Pavo.getExclusionList CURRENT [mUserRecord uid] IS ROOT"));
    EXPECT_TRUE(rig.log.has(2, "Pavo.getExclusionList for key \"excludedPrefItems\" FOUND with 1 items"));
    EXPECT_TRUE(
        rig.log.has(2, "Pavo.getExclusionList: getDefaultList(\"excludedPrefItems-10.4.3\") matches exclusion list."));
    EXPECT_TRUE(rig.log.has(2, "Pavo.getExclusionList: getDefaultList(\"excludedPrefItems\") NOT FOUND with 0 items"));
    EXPECT_TRUE(rig.log.has(2, "Pavo.getExclusionList: getDefaultList(\"excludedAlways\") NOT FOUND with 0 items"));
}

TEST(PreferenceExcludeList, CoversHiddenItemsAndTheDefaultFolders)
{
    HomeRig rig;
    EXPECT_EQ(rig.exclusions.preferenceExcludeList(), (MatchRules{{PathBeginsWith, "."}})) << "without defaults";
    rig.setDefaults({{"syncedPrefFolders", paths({"~/Library", ".config", "Mail"})}});
    EXPECT_EQ(rig.exclusions.preferenceExcludeList(),
              (MatchRules{{PathBeginsWith, "."}, {PathLike, "Library"}, {PathLike, "Mail"}}));
}

struct JoinCase {
    const char* name;
    Array inclusions;
    Array exclusions;
    InclusionSet expected;
};

TEST(SyncLists, ClearsTheInclusionsOfWhatTheRulesExclude)
{
    const JoinCase cases[] = {
        {"a name, in whatever case", paths({"Documents", "Music"}), rules({{"is", "music"}}), Paths{"Documents"}},
        {"the last entry gone is nothing, not the whole home",
         paths({"Documents", "Music"}),
         rules({{"is", "music"}, {"fullPath", "Doc*"}}),
         {}},
        {"the name is the last component", paths({"Work/Music", "Music/Live"}), rules({{"is", "music"}}),
         Paths{"Music/Live"}},
        {"a slash at the end is not a name", paths({"Music/", "Work/"}), rules({{"is", "music"}}), Paths{"Work/"}},
        {"but belongs to the path", paths({"Music/"}), rules({{"path", "Music"}}), Paths{"Music/"}},
        {"the whole home stays, the engine applies the rules", paths({"~"}), rules({{"contains", "u"}}), Paths{}},
        {"no rule", paths({"Music"}), Array{}, Paths{"Music"}},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        HomeRig rig;
        rig.setUser({{"syncedFolders", c.inclusions}, {"excludedItems", c.exclusions}});
        MatchRules exclusions;
        EXPECT_EQ(rig.lists.getSyncLists(kPeriodicSync, {}, &exclusions), c.expected);
        EXPECT_EQ(exclusions.size(), c.exclusions.size() + 1) << "the rules, and the one for hidden items";
    }
}

TEST(SyncLists, WithoutAskingForRulesNoneIsLookedAt)
{
    HomeRig rig;
    rig.setUser({{"syncedFolders", paths({"Music"})}, {"excludedItems", rules({{"is", "music"}})}});
    EXPECT_EQ(rig.lists.getSyncLists(kPeriodicSync, {}), Paths{"Music"});
    EXPECT_EQ(rig.log.countContaining("getExclusionList"), 0);

    MatchRules exclusions;
    rig.setManaged({{"replaceUserSyncList", true}});
    EXPECT_EQ(rig.lists.getSyncLists(kPeriodicSync, {}, &exclusions), InclusionSet{});
    EXPECT_EQ(exclusions, MatchRules{}) << "a job that is left out needs no extra rules";
}

} // namespace
