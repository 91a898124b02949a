#include <gtest/gtest.h>

#include <limits>

#include "tests/fakes/account_rig.h"

namespace
{

using namespace roamer;

using fakes::AccountRig;

TEST(RoamerPreferences, TheManagedLayerWinsWholeAndForces)
{
    AccountRig rig;
    rig.setUser({{kPeriodicSyncOn, true},
                 {kSyncedFolders, Array{"~/Music"}},
                 {kIsNewMobileAccount, true},
                 {"large", std::int64_t{1} << 40}});
    rig.setManaged({{kPeriodicSyncOn, false}, {kSyncedFolders, Array{}}, {kSyncedFoldersManaged, "no array"}});

    EXPECT_EQ(rig.preferences.getRoamerInt("large", 7), std::numeric_limits<int>::max());
    EXPECT_FALSE(rig.preferences.getRoamerBool(kPeriodicSyncOn, true));
    EXPECT_TRUE(rig.preferences.roamerValueIsForced(kPeriodicSyncOn));
    EXPECT_EQ(rig.preferences.getRoamerValue<Array>(kSyncedFolders, std::nullopt), Array{});
    EXPECT_TRUE(rig.preferences.roamerValueIsForced(kSyncedFoldersManaged));
    EXPECT_EQ(rig.preferences.getRoamerValue<Array>(kSyncedFoldersManaged, Array{"default"}), Array{"default"});
    EXPECT_TRUE(rig.preferences.getRoamerBool(kIsNewMobileAccount, false));
    EXPECT_FALSE(rig.preferences.roamerValueIsForced(kIsNewMobileAccount));
}

TEST(RoamerPreferences, SettingWritesTheUserFileAndIsSeenAtOnce)
{
    AccountRig rig;
    EXPECT_EQ(rig.preferences.getDefaultList(kExcludedAlways), std::nullopt);
    rig.setDefaults({{kExcludedAlways, Array{"a"}}});
    EXPECT_EQ(rig.preferences.getDefaultList(kExcludedAlways), Array{"a"}) << "looked for until it is found";
    rig.setManaged({{kIsNewMobileAccount, true}});
    const Date time = Date(std::chrono::milliseconds(1'764'000'000'250));
    rig.prefer(kRoamerTime, time); // makes the file
    rig.preferences.setRoamerBool(kIsNewMobileAccount, false);
    EXPECT_EQ(rig.preferences.getRoamerValue<Date>(kRoamerTime, std::nullopt), time);
    EXPECT_TRUE(rig.preferences.getRoamerBool(kIsNewMobileAccount, false)); // still the managed value
    const auto file = [&] { return rig.domains.dictionaryWithPrefsFromDomain(kRoamerDomain, rig.localHome); };
    EXPECT_EQ(file(), (Dictionary{{kRoamerTime, time}, {kIsNewMobileAccount, false}}));
    rig.preferences.setRoamerValue(std::nullopt, kRoamerTime);
    EXPECT_EQ(file(), (Dictionary{{kIsNewMobileAccount, false}}));

    std::filesystem::remove_all(rig.localHome);
    rig.preferences.setRoamerBool(kRoamerCompleted, true);
    EXPECT_TRUE(rig.preferences.getRoamerBool(kRoamerCompleted, false)) << "stands in memory";
    EXPECT_EQ(rig.log.system.size(), 1U);
}

} // namespace
