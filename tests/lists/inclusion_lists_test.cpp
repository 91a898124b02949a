#include <gtest/gtest.h>

#include "tests/lists/home_rig.h"

namespace
{

using namespace roamer;
using namespace lists_test;
using Paths = std::set<std::string>;

TEST(InclusionList, ComesFromTheLayerThatDecides)
{
    constexpr const char* kOwn = "syncedPrefFolders";
    constexpr const char* kManaged = "syncedPrefFolders-managed";
    constexpr const char* kReplace = "replaceUserPrefSyncList";
    const Array own = paths({"Own"});
    const Array managed = paths({"~/Managed"});
    struct Case {
        const char* name;
        Dictionary managed;
        std::optional<Dictionary> user;
        InclusionSet login, background;
    } const cases[] = {
        {"managed alone counts", {{kManaged, managed}}, Dictionary{{kOwn, own}}, Paths{"Managed"}, Paths{}},
        {"no array forces nothing to sync", {{kManaged, "Managed"}}, Dictionary{{kOwn, own}}, {}, Paths{}},
        {"the user cannot manage", {}, Dictionary{{kManaged, own}}, Paths{"Default"}, Paths{}},
        {"replacing is forced", {{kReplace, true}}, Dictionary{{kOwn, own}}, {}, Paths{}},
        {"the user cannot replace", {}, Dictionary{{kOwn, own}, {kReplace, true}}, Paths{"Own"}, Paths{}},
        {"the other set's flag", {{"replaceUserSyncList", true}}, Dictionary{{kOwn, own}}, Paths{"Own"}, {}},
        {"another type takes the defaults", {}, Dictionary{{kOwn, "Own"}}, Paths{"Default"}, Paths{}},
        {"an account without a preference file", {}, {}, {}, {}},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        HomeRig rig;
        rig.setDefaults({{"syncedPrefFolders", paths({"~/Default"})}, {"syncedFolders", paths({"~"})}});
        rig.setManaged(c.managed);
        if (c.user) rig.setUser(*c.user);
        EXPECT_EQ(rig.lists.getSyncLists(kLoginSync, {}), c.login);
        EXPECT_EQ(rig.lists.getSyncLists(kPeriodicSync, {}), c.background);
    }
}

/// The default preference folders are Library/Preferences and Mail; both homes have hidden items.
TEST(FilterInclusionList, NarrowsToTheShareOfTheType)
{
    const Paths items = {"Library/Preferences", "Mail", ".profile", ".config", ".ssh"};
    const Paths hidden = {".config/dconf"};
    const Paths nearly = {"Mailbox", "Library/Preferences2", ".sshrc", "Library"};
    struct Case {
        const char* name;
        SyncType type;
        InclusionSet given, expected;
        bool addsExclusions = false;
    } const cases[] = {
        {"whole class: unchanged", kLogoutFirstTimeSync, Paths{"Mail", "Music"}, Paths{"Mail", "Music"}},
        {"background: settings excluded", kNowPeriodicSync, Paths{"Mail", "Music"}, Paths{"Mail", "Music"}, true},
        {"nothing stays nothing, others", kLoginNonprefSync, {}, {}},
        {"settings of the whole home", kPeriodicAllPrefSync, Paths{}, items},
        {"the rest of the whole home", kLoginFirstTimeNonprefSync, Paths{}, Paths{}, true},
        {"settings: below an item counts", kLoginPrefSync, Paths{"Music", ".config/dconf"}, hidden},
        {"settings: only the beginning of a name does not", kNowAllPrefSync, nearly, {}},
        {"others: covered entries go", kLogoutNonprefSync, Paths{"Mail", "Music", "Mail/Inbox"}, Paths{"Music"}},
        {"others: none left is nothing, not the whole home", kLoginNonprefSync, Paths{"Mail"}, {}},
        {"others: an entry above an item stays", kLoginNonprefSync, Paths{"Library"}, Paths{"Library"}},
    };
    HomeRig rig;
    rig.setDefaults({{"syncedPrefFolders", paths({"~/Library/Preferences", "Mail"})}});
    for (const auto* item : {".profile", ".config/dconf", ".fstemp12/a", ".FV_Store", "Documents/.hidden"})
        rig.addLocal(item);
    rig.addNetwork(".ssh/id");

    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        std::optional<MatchRules> extra = MatchRules{{ComparisonForm::NameLike, "left over from an earlier call"}};
        EXPECT_EQ(rig.inclusions.filterInclusionList(c.given, c.type, rig.share, &extra), c.expected);
        ASSERT_EQ(extra.has_value(), c.addsExclusions);
        if (!extra) continue;
        EXPECT_EQ(*extra, (MatchRules{{ComparisonForm::PathBeginsWith, "."},
                                      {ComparisonForm::PathLike, "Library/Preferences"},
                                      {ComparisonForm::PathLike, "Mail"}}));
    }
}

TEST(FilterInclusionList, LibraryBringsTheHiddenItemsInAndAMissingHomeNone)
{
    HomeRig rig;
    rig.setDefaults({{"syncedPrefFolders", paths({"Library"})}});
    rig.addLocal(".profile");
    rig.addNetwork(".ssh/id");
    const Paths given{"Library", "Documents"};
    const auto filtered = [&](SyncType type) { return rig.inclusions.filterInclusionList(given, type, rig.share); };
    EXPECT_EQ(filtered(kLoginPrefSync), (Paths{"Library", ".profile", ".ssh"}));
    EXPECT_EQ(filtered(kLoginNonprefSync), Paths{"Documents"});
    std::filesystem::remove_all(rig.networkHome);
    EXPECT_EQ(filtered(kLoginPrefSync), (Paths{"Library", ".profile"}));
}

} // namespace
