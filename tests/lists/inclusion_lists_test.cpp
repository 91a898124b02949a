#include <gtest/gtest.h>

#include "lists/inclusion_entry.h"
#include "tests/lists/home_rig.h"

namespace
{

using namespace roamer;
using namespace lists_test;
using Paths = std::set<std::string>;

struct EntriesCase {
    const char* name;
    std::optional<Array> list;
    InclusionSet expected;
};

TEST(InclusionEntries, AreReadAsHomeRelativePaths)
{
    const EntriesCase cases[] = {
        {"no list", {}, {}},
        {"an empty list covers nothing, not everything", Array{}, {}},
        {"the whole home wins over entries before it", paths({"~/Documents", "~"}), Paths{}},
        {"the whole home wins over entries after it", paths({"~/", "Music"}), Paths{}},
        {"with and without tilde is the same path", paths({"~Music", "Music", "~/Music"}), Paths{"Music"}},
        {"only one tilde goes", paths({"~~backup"}), Paths{"~backup"}},
        {"an absolute path stays as it is", paths({"/srv/data"}), Paths{"/srv/data"}},
        {"entries of another shape are skipped",
         Array{"Documents", 3, Dictionary{{"path", 7}}, Dictionary{{"Path", "Music"}}, Dictionary{{"path", "Mail"}}},
         Paths{"Mail"}},
        {"nothing but entries of another shape", Array{"Documents"}, {}},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        EXPECT_EQ(includeListFromPavoIncludeList(c.list), c.expected);
    }
}

/// Which list a sync goes by. The types are of the login set where a case says nothing else.
struct SourceCase {
    const char* name;
    Dictionary managed;
    std::optional<Dictionary> user;
    SyncType type;
    InclusionSet expected;
};

TEST(InclusionList, ComesFromTheLayerThatDecides)
{
    const SourceCase cases[] = {
        {"the managed list alone counts",
         {{"syncedPrefFolders-managed", paths({"Managed"})}},
         Dictionary{{"syncedPrefFolders", paths({"Own"})}},
         kLoginSync,
         Paths{"Managed"}},
        {"the other set's managed list does not count",
         {{"syncedFolders-managed", paths({"Managed"})}},
         Dictionary{{"syncedPrefFolders", paths({"Own"})}},
         kLoginSync,
         Paths{"Own"}},
        {"a managed list that is no array forces nothing to sync",
         {{"syncedPrefFolders-managed", "Managed"}},
         Dictionary{{"syncedPrefFolders", paths({"Own"})}},
         kLoginSync,
         {}},
        {"the user cannot manage",
         {},
         Dictionary{{"syncedPrefFolders-managed", paths({"Own"})}},
         kLoginSync,
         Paths{"Default"}},
        {"replacing counts when it is forced",
         {{"replaceUserPrefSyncList", true}},
         Dictionary{{"syncedPrefFolders", paths({"Own"})}},
         kLoginSync,
         {}},
        {"forced to false it replaces nothing",
         {{"replaceUserPrefSyncList", false}},
         Dictionary{{"syncedPrefFolders", paths({"Own"})}, {"replaceUserPrefSyncList", true}},
         kLoginSync,
         Paths{"Own"}},
        {"the user cannot replace their own list",
         {},
         Dictionary{{"syncedPrefFolders", paths({"Own"})}, {"replaceUserPrefSyncList", true}},
         kLoginSync,
         Paths{"Own"}},
        {"the other set's flag does not count",
         {{"replaceUserSyncList", true}},
         Dictionary{{"syncedPrefFolders", paths({"Own"})}},
         kLoginSync,
         Paths{"Own"}},
        {"background set: the managed list",
         {{"syncedFolders-managed", paths({"~/Managed"})}},
         Dictionary{{"syncedFolders", paths({"Own"})}},
         kPeriodicSync,
         Paths{"Managed"}},
        {"background set: replaced without a managed list",
         {{"replaceUserSyncList", true}},
         Dictionary{{"syncedFolders", paths({"Own"})}},
         kPeriodicSync,
         {}},
        {"background set: the defaults", {}, Dictionary{}, kPeriodicSync, Paths{}},
        {"a user file without the key takes the defaults", {}, Dictionary{}, kLoginSync, Paths{"Default"}},
        {"a list of another type takes the defaults",
         {},
         Dictionary{{"syncedPrefFolders", "Own"}},
         kLoginSync,
         Paths{"Default"}},
        {"an account without a preference file syncs nothing", {}, {}, kLoginSync, {}},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        HomeRig rig;
        rig.setDefaults({{"syncedPrefFolders", paths({"~/Default"})}, {"syncedFolders", paths({"~"})}});
        rig.setManaged(c.managed);
        if (c.user) rig.setUser(*c.user);
        EXPECT_EQ(rig.lists.getSyncLists(c.type, {}), c.expected);
    }
}

TEST(InclusionList, SaysInTheLogWhereItComesFrom)
{
    HomeRig rig;
    rig.setDefaults({{"syncedPrefFolders", paths({"Library"})}});
    rig.inclusions.getInclusionList(kLoginSync, {});
    EXPECT_TRUE(rig.log.has(2, "Pavo.getInclusionList: syncType=kLoginSync"));
    EXPECT_TRUE(rig.log.has(2, "Pavo.getInclusionList - replaceUserSettings was 0"));
    EXPECT_TRUE(rig.log.has(2, "Pavo.getInclusionList for key \"syncedPrefFolders\" NOT FOUND with 0 items"));
    EXPECT_TRUE(rig.log.has(2, "Pavo.getInclusionList using empty list for missing pref file \"" + rig.localHome +
                                   "/Library/Preferences/com.kestrel.roamer.plist\""));
    EXPECT_TRUE(rig.log.has(2, "Pavo.getInclusionList before filterInclusionList: inclusion list has -1 items."));

    rig.setUser({});
    rig.inclusions.getInclusionList(kLoginSync, {});
    EXPECT_TRUE(rig.log.has(2, "Pavo.getInclusionList: getDefaultList(\"syncedPrefFolders\") FOUND with 1 items"));
    EXPECT_TRUE(rig.log.has(
        2, "Pavo.filterInclusionList:kLoginSync inclusionList with 1 items; extraExclusions with -1 items."));
    EXPECT_EQ(rig.log.countContaining("IS ROOT"), 0);

    rig.effectiveUser.effective = 0;
    rig.inclusions.getInclusionList(kLoginSync, {});
    EXPECT_TRUE(rig.log.has(1, "Pavo.getInclusionList CURRENT euid IS ROOT"));
    EXPECT_EQ(rig.log.countContaining("uid] IS ROOT"), 0);
}

/// The default preference folders are Library/Preferences and Mail; both homes have hidden items.
struct FilterCase {
    const char* name;
    SyncType type;
    InclusionSet given;
    InclusionSet expected;
    bool addsExclusions;
};

const Paths kItems = {"Library/Preferences", "Mail", ".profile", ".config", ".ssh"};

const FilterCase kFilterCases[] = {
    {"whole class: unchanged", kLogoutFirstTimeSync, Paths{"Mail", "Documents"}, Paths{"Mail", "Documents"}, false},
    {"whole class: the whole home too", kLoginSync, Paths{}, Paths{}, false},
    {"a type that is none: unchanged", kAllSyncParts, Paths{"Mail"}, Paths{"Mail"}, false},
    {"background set: unchanged, settings excluded", kNowPeriodicSync, Paths{"Mail", "Music"}, Paths{"Mail", "Music"},
     true},
    {"background set of the whole home", kLoginPeriodicSync, Paths{}, Paths{}, true},
    {"nothing stays nothing, settings", kLoginPrefSync, {}, {}, false},
    {"nothing stays nothing, others", kLoginNonprefSync, {}, {}, false},
    {"nothing stays nothing, background", kPeriodicSync, {}, {}, false},
    {"settings of the whole home", kPeriodicAllPrefSync, Paths{}, kItems, false},
    {"the rest of the whole home", kLoginFirstTimeNonprefSync, Paths{}, Paths{}, true},
    {"settings: below an item counts", kLoginPrefSync,
     Paths{"Library/Preferences/x.plist", "Documents", ".config/dconf"},
     Paths{"Library/Preferences/x.plist", ".config/dconf"}, false},
    {"settings: only the beginning of a name does not count",
     kNowAllPrefSync,
     Paths{"Mailbox", "Library/Preferences2", ".sshrc", "Library"},
     {},
     false},
    {"others: covered entries go", kLogoutNonprefSync, Paths{"Library/Preferences", "Documents", "Mail/Inbox"},
     Paths{"Documents"}, false},
    {"others: none left is nothing, not the whole home", kLoginNonprefSync, Paths{"Library/Preferences"}, {}, false},
    {"others: an entry above an item stays", kLoginNonprefSync, Paths{"Library"}, Paths{"Library"}, false},
};

TEST(FilterInclusionList, NarrowsToTheShareOfTheType)
{
    HomeRig rig;
    rig.setDefaults({{"syncedPrefFolders", paths({"~/Library/Preferences", "Mail"})}});
    for (const auto* item : {".profile", ".config/", ".fstemp12/", ".FV_Store", "Documents/.hidden"})
        rig.addLocal(item);
    for (const auto* item : {".ssh/", ".profile", ".fstemp"})
        rig.addNetwork(item);

    for (const auto& c : kFilterCases) {
        SCOPED_TRACE(c.name);
        std::optional<MatchRules> extra = MatchRules{{ComparisonForm::NameLike, "left over from an earlier call"}};
        EXPECT_EQ(rig.inclusions.filterInclusionList(c.given, c.type, {}, &extra), c.expected);
        EXPECT_EQ(extra.has_value(), c.addsExclusions);
        if (extra) {
            EXPECT_EQ(*extra, rig.exclusions.preferenceExcludeList());
        }
        EXPECT_EQ(rig.inclusions.filterInclusionList(c.given, c.type, {}), c.expected) << "without asking for rules";
    }
}

TEST(FilterInclusionList, LibraryBringsTheHiddenItemsIn)
{
    HomeRig rig;
    rig.setDefaults({{"syncedPrefFolders", paths({"Library"})}});
    rig.addLocal(".profile");
    rig.addNetwork(".ssh/");
    const Paths given{"Library", "Documents"};
    EXPECT_EQ(rig.inclusions.filterInclusionList(given, kLoginPrefSync, {}), (Paths{"Library", ".profile", ".ssh"}));
    EXPECT_EQ(rig.inclusions.filterInclusionList(given, kLoginNonprefSync, {}), Paths{"Documents"});
    EXPECT_EQ(rig.inclusions.filterInclusionList(Paths{"Library/Fonts"}, kLoginPrefSync, {}), Paths{"Library/Fonts"});
}

TEST(FilterInclusionList, SaysInTheLogWhatItMadeOfTheWholeHome)
{
    HomeRig rig;
    rig.setDefaults({{"syncedPrefFolders", paths({"Library"})}});
    rig.addNetwork(".ssh/");
    std::optional<MatchRules> extra;
    rig.inclusions.filterInclusionList(Paths{}, kLoginPrefSync, {}, &extra);
    EXPECT_TRUE(rig.log.has(2, "Pavo.preferenceIncludeList ADDING \".ssh\""));
    EXPECT_TRUE(rig.log.has(2, "Pavo.filterInclusionList:kLoginPrefSync inclusionList = \"{(.ssh, Library)}\"."));
    rig.inclusions.filterInclusionList(Paths{}, kPeriodicSync, {}, &extra);
    EXPECT_TRUE(rig.log.has(2, "Pavo.filterInclusionList:kPeriodicSync *extraExclusions = "
                               "\"{(path BEGINSWITH \".\", path LIKE[c] \"Library\")}\"."));
    EXPECT_TRUE(rig.log.has(
        2, "Pavo.filterInclusionList:kPeriodicSync inclusionList with 0 items; extraExclusions with 2 items."));
}

TEST(PreferenceIncludeList, TakesHomesThatCannotBeListedForEmpty)
{
    HomeRig rig;
    rig.addLocal(".profile");
    std::filesystem::remove_all(rig.networkHome);
    EXPECT_EQ(rig.inclusions.preferenceIncludeList({}), Paths{".profile"}) << "no defaults, no network home";

    rig.setDefaults({{"syncedPrefFolders", paths({"~"})}});
    EXPECT_EQ(rig.inclusions.preferenceIncludeList({}), Paths{".profile"}) << "the whole home names no folders";
}

} // namespace
