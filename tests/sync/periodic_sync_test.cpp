#include <gmock/gmock.h>

#include "tests/sync/sync_rig.h"

namespace
{

using namespace roamer;
using namespace std::chrono_literals;
using sync_test::SyncRig;

PropertyList option(const Dictionary& options, const char* key)
{
    const auto item = options.find(key);
    return item != options.end() ? item->second : PropertyList("missing");
}

TEST(PeriodicSync, TakesTheIntervalFromThePreferencesAndPutsTheFirstSyncIntoTheFuture)
{
    struct Case {
        const char* name;
        std::optional<PropertyList> syncPeriodSeconds;
        double multiplier, interval;
        bool onModification;
        std::chrono::seconds delay;
    } const cases[] = {
        {"too often", 30, 0.0625, 60.0, true, 3s},  {"the usual", 1200, 0.0625, 1200.0, false, 75s},
        {"zero", 0, 0.0, 1200.0, true, 2s},         {"negative", -5, -3.0, 1200.0, true, 2s},
        {"nothing", {}, 1.0, 1200.0, false, 1200s},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        SyncRig rig;
        if (c.syncPeriodSeconds) rig.prefer(kSyncPeriodSeconds, *c.syncPeriodSeconds);
        EXPECT_EQ(rig.periodic.setupPeriodicSync(true, c.multiplier, std::nullopt), 0);
        const auto& set = *rig.engine.set;
        EXPECT_EQ(set.interval, c.interval);
        EXPECT_EQ(set.onModification, c.onModification);
        EXPECT_EQ(std::chrono::floor<std::chrono::seconds>(*set.nextSyncTime - rig.loop.date()), c.delay);
        EXPECT_TRUE(set.automatic);
        EXPECT_EQ(set.calls.back(), "setIsAutomaticallySyncing");
    }
}

TEST(PeriodicSync, SwitchingOffMakesNoSetAndFailuresLeaveItOff)
{
    SyncRig rig;
    EXPECT_EQ(rig.periodic.setupPeriodicSync(false, 1.0, std::nullopt), 0);
    EXPECT_TRUE(rig.engine.created.empty());
    auto& set = rig.addSet();
    set.failing.insert("setNextSyncTime");
    EXPECT_EQ(rig.periodic.setupPeriodicSync(true, 1.0, std::nullopt), -1);
    EXPECT_FALSE(set.automatic);
}

TEST(PeriodicSync, LeavesPreferencesOutWhileTheNetworkHasNewerOnes)
{
    struct Case {
        const char* name;
        std::optional<int> lastSync, networkNewer; ///< Days after the first of the test's calendar.
        bool always, preferencesDue;
    } const cases[] = {
        {"never found newer", 5, {}, false, true},
        {"newer, never synced", {}, 5, false, false},
        {"found in the very moment", 5, 5, false, false},
        {"synced since", 6, 5, false, true},
        {"forced", {}, 5, true, true},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        SyncRig rig;
        const auto day = [&](int number) { return Date(rig.loop.date() + 24h * number); };
        if (c.lastSync) rig.prefer(kRoamerTime, day(*c.lastSync));
        if (c.networkNewer) rig.prefer(kNetworkHomeNewerTime, day(*c.networkNewer));
        rig.periodic.getPeriodicSyncSet(kNowPeriodicSync, kNowAllPrefSync, std::nullopt, true, c.always);
        EXPECT_EQ(rig.engine.set->local.inclusionSets.size(), c.preferencesDue ? 2U : 1U);
        EXPECT_EQ(option(rig.engine.set->defaultSyncOptions.back(), platform::kSyncOptionExclusionInclusionSetIndexKey),
                  PropertyList(c.preferencesDue ? 1 : 0));
    }
}

TEST(PeriodicSync, BothJobsStandInOrderWithTheirOptions)
{
    SyncRig rig;
    rig.prefer(kBackgroundConflictResolution, "networkHomeWins");
    rig.periodic.getPeriodicSyncSet(kPeriodicSync, kPeriodicAllPrefSync, rig.share, true, false);
    const auto& made = *rig.engine.set;

    ASSERT_EQ(made.local.inclusionSets.size(), 2U);
    EXPECT_TRUE(made.local.inclusionSets[0].contains("Library") && made.local.inclusionSets[1].empty());
    EXPECT_EQ(made.remote.inclusionSets, made.local.inclusionSets);
    EXPECT_EQ(made.remote.exclusionSets, made.local.exclusionSets);
    ASSERT_EQ(made.defaultSyncOptions.size(), 2U);
    EXPECT_EQ(option(made.defaultSyncOptions[0], platform::kSyncOptionPeerAbortSyncPassOnWriteToReadOnlyKey),
              PropertyList("local"));
    EXPECT_EQ(option(made.defaultSyncOptions[1], platform::kSyncOptionResolveConflictInFavorOfPeerKey),
              PropertyList("remote"));
}

TEST(PeriodicSync, WithNothingToSyncAFoundSetKeepsItsJobs)
{
    SyncRig rig;
    rig.prefer(kSyncedFolders, Array{});
    rig.prefer(kSyncPreferencesInBackground, "dontSync");
    EXPECT_EQ(rig.periodic.setupPeriodicSync(true, 1.0, std::nullopt), -1);
    EXPECT_TRUE(rig.engine.created.empty());

    auto& set = rig.addSet();
    EXPECT_EQ(rig.periodic.setupPeriodicSync(true, 1.0, std::nullopt), 0);
    EXPECT_EQ(set.count("setDefaultSyncOptions"), 0);
    EXPECT_EQ(set.remoteHomePath, "unset");
    EXPECT_TRUE(set.automatic);
}

} // namespace
