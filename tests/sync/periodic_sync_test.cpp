#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <chrono>

#include "lists/sync_type.h"
#include "tests/sync/sync_rig.h"

namespace
{

using namespace roamer;
using namespace std::chrono_literals;
using sync_test::SyncRig;
using testing::ElementsAre;
using testing::IsEmpty;
using Sets = std::vector<std::set<std::string>>;

struct IntervalCase {
    const char* name;
    std::optional<PropertyList> syncPeriodSeconds;
    double interval;
    bool onModification;
};

TEST(PeriodicSync, TakesTheIntervalFromThePreferences)
{
    const IntervalCase cases[] = {
        {"too often", 30, 60.0, true},   {"just often enough", 60.5, 60.5, true},
        {"seldom", 3600, 3600.0, false}, {"the usual", 1200, 1200.0, false},
        {"zero", 0, 1200.0, true},       {"negative", -5, 1200.0, true},
        {"nothing", {}, 1200.0, false},  {"no number", "often", 1200.0, false},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        SyncRig rig;
        if (c.syncPeriodSeconds) rig.prefer(kSyncPeriodSeconds, *c.syncPeriodSeconds);
        EXPECT_EQ(rig.periodic.setupPeriodicSync(true, 1.0, std::nullopt), 0);
        const auto& set = *rig.engine.set;
        EXPECT_EQ(set.interval, c.interval);
        EXPECT_EQ(set.onModification, c.onModification);
        EXPECT_TRUE(set.automatic);
        EXPECT_EQ(set.calls.back(), "setIsAutomaticallySyncing");
    }
}

struct FirstSyncCase {
    double multiplier;
    PropertyList syncPeriodSeconds;
    std::chrono::seconds delay;
};

TEST(PeriodicSync, PutsTheFirstSyncIntoTheFuture)
{
    const FirstSyncCase cases[] = {
        {0.0625, 1200, 75s}, {0.0, 1200, 2s}, {1.0, 1200, 1200s}, {-3.0, 1200, 2s}, {0.0625, 10, 3s},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.multiplier);
        SyncRig rig;
        rig.loop.runForSeconds(100);
        rig.prefer(kSyncPeriodSeconds, c.syncPeriodSeconds);
        rig.periodic.setupPeriodicSync(true, c.multiplier, std::nullopt);
        const auto delay = *rig.engine.set->nextSyncTime - rig.loop.date();
        EXPECT_EQ(std::chrono::floor<std::chrono::seconds>(delay), c.delay);
    }
    SyncRig rig;
    rig.prefer(kSyncPeriodSeconds, 1e300);
    rig.periodic.setupPeriodicSync(true, 1.0, std::nullopt);
    EXPECT_GT(*rig.engine.set->nextSyncTime, rig.loop.date() + 24h * 365);
}

TEST(PeriodicSync, LogsWhatItSets)
{
    SyncRig rig;
    rig.prefer(kSyncPeriodSeconds, 600);
    rig.periodic.setupPeriodicSync(true, 1.0, std::nullopt);
    for (const auto* line :
         {"Pavo.setupPeriodicSync - turnOn = 1 ",
          "Pavo.getPeriodicSyncSet: totalJobs=2, willSyncPrefs=1, willSyncPeriodic=1", "Pavo.getPeriodicSyncSet: done",
          "Pavo.setupPeriodicSync: phdSyncSet.automaticSyncInterval = 600.000000;",
          "Pavo.setupPeriodicSync: phdSyncSet.autoSyncOnFileSystemModification = 1;",
          "Pavo.setupPeriodicSync: phdSyncSet.isAutomaticallySyncing = TRUE", "Pavo.setupPeriodicSync done"}) {
        EXPECT_TRUE(rig.log.has(2, line)) << line;
    }
}

TEST(PeriodicSync, SwitchingOffMakesNoSet)
{
    SyncRig rig;
    EXPECT_EQ(rig.periodic.setupPeriodicSync(false, 1.0, std::nullopt), 0);
    EXPECT_TRUE(rig.engine.created.empty());

    auto& set = rig.addSet();
    EXPECT_EQ(rig.periodic.setupPeriodicSync(false, 1.0, std::nullopt), 0);
    EXPECT_THAT(set.calls, ElementsAre("setIsAutomaticallySyncing"));
    EXPECT_FALSE(set.automatic);
}

TEST(PeriodicSync, FailsWithoutASetAndWithOneThatRefuses)
{
    SyncRig none;
    none.engine.creation = fakes::FakeSyncManager::Creation::Raises;
    EXPECT_EQ(none.periodic.setupPeriodicSync(true, 1.0, std::nullopt), -1);

    SyncRig refusing;
    refusing.addSet().failing.insert("setNextSyncTime");
    EXPECT_EQ(refusing.periodic.setupPeriodicSync(true, 1.0, std::nullopt), -1);
    EXPECT_TRUE(refusing.log.has(1, "Pavo.setupPeriodicSync caught exception: name=\"EngineFailure\", "
                                    "reason=\"setNextSyncTime was refused\""));
    EXPECT_FALSE(refusing.engine.set->automatic);
}

/// Days after the first of the test's calendar; none where there is no value.
struct DueCase {
    const char* name;
    std::optional<int> lastSync;
    std::optional<int> networkNewer;
    bool always;
    bool preferencesDue;
};

TEST(PeriodicSync, LeavesPreferencesOutWhileTheNetworkHasNewerOnes)
{
    const DueCase cases[] = {
        {"nothing known", {}, {}, false, true},
        {"never found newer", 5, {}, false, true},
        {"newer, never synced", {}, 5, false, false},
        {"newer than the last sync", 4, 5, false, false},
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
    }
}

PropertyList option(const Dictionary& options, const char* key)
{
    const auto item = options.find(key);
    return item != options.end() ? item->second : PropertyList("missing");
}

TEST(PeriodicSync, BothJobsStandInOrderWithTheirOptions)
{
    SyncRig rig;
    rig.prefer(kBackgroundConflictResolution, "networkHomeWins");
    rig.prefer(kBackgroundSuppressErrors, true);
    rig.prefer(kExcludedItems, Array{Dictionary{{"comparison", "startsWith"}, {"value", ".tmp"}}});
    const auto set = rig.periodic.getPeriodicSyncSet(kPeriodicSync, kPeriodicAllPrefSync, rig.share, true, false);
    ASSERT_EQ(set, rig.engine.set);
    const auto& made = *rig.engine.set;

    ASSERT_EQ(made.local.inclusionSets.size(), 2U);
    EXPECT_TRUE(made.local.inclusionSets[0].contains("Library"));
    EXPECT_THAT(made.local.inclusionSets[1], IsEmpty());
    EXPECT_EQ(made.remote.inclusionSets, made.local.inclusionSets);
    ASSERT_EQ(made.local.exclusionSets.size(), 2U);
    EXPECT_NE(made.local.exclusionSets[0], made.local.exclusionSets[1]);
    EXPECT_EQ(made.remote.exclusionSets, made.local.exclusionSets);

    ASSERT_EQ(made.defaultSyncOptions.size(), 2U);
    const auto& first = made.defaultSyncOptions[0];
    EXPECT_EQ(option(first, platform::kSyncOptionExclusionInclusionSetIndexKey), PropertyList(0));
    EXPECT_EQ(option(first, platform::kSyncOptionPeerAbortSyncPassOnWriteToReadOnlyKey), PropertyList("local"));
    EXPECT_EQ(option(first, platform::kSyncOptionSuppressErrorDialogsKey), PropertyList("missing"));
    const auto& second = made.defaultSyncOptions[1];
    EXPECT_EQ(option(second, platform::kSyncOptionExclusionInclusionSetIndexKey), PropertyList(1));
    EXPECT_EQ(option(second, platform::kSyncOptionResolveConflictInFavorOfPeerKey), PropertyList("remote"));
    EXPECT_EQ(option(second, platform::kSyncOptionSuppressErrorDialogsKey), PropertyList(1));
}

TEST(PeriodicSync, ALoneBackgroundJobHasPositionZero)
{
    SyncRig rig;
    rig.prefer(kSyncPreferencesInBackground, "dontSync");
    rig.periodic.setupPeriodicSync(true, 1.0, std::nullopt);
    const auto& set = *rig.engine.set;
    ASSERT_EQ(set.defaultSyncOptions.size(), 1U);
    EXPECT_THAT(set.local.inclusionSets, ElementsAre(IsEmpty()));
    EXPECT_EQ(option(set.defaultSyncOptions[0], platform::kSyncOptionExclusionInclusionSetIndexKey), PropertyList(0));
}

TEST(PeriodicSync, WithNothingToSyncAFoundSetKeepsItsJobs)
{
    SyncRig rig;
    rig.prefer(kSyncedFolders, Array{});
    rig.prefer(kSyncPreferencesInBackground, "dontSync");
    EXPECT_EQ(rig.periodic.setupPeriodicSync(true, 1.0, std::nullopt), -1);
    EXPECT_TRUE(rig.engine.created.empty());

    auto& set = rig.addSet();
    set.local.inclusionSets = Sets{{"Documents"}};
    EXPECT_EQ(rig.periodic.setupPeriodicSync(true, 1.0, std::nullopt), 0);
    EXPECT_EQ(set.local.inclusionSets, (Sets{{"Documents"}}));
    EXPECT_EQ(set.remoteHomePath, "unset");
    EXPECT_TRUE(set.automatic);
    EXPECT_TRUE(rig.log.has(2, "Pavo.getPeriodicSyncSet: nothing to sync"));
}

TEST(PeriodicSync, AnEngineThatTakesNoJobsStillHasASet)
{
    SyncRig rig;
    rig.addSet().remote.refuses = true;
    EXPECT_EQ(rig.periodic.getPeriodicSyncSet(kPeriodicSync, kPeriodicAllPrefSync, {}, true, false), rig.engine.set);
    EXPECT_TRUE(rig.log.has(1, "Pavo.getPeriodicSyncSet: caught exception: name=\"PeerRefused\", "
                               "reason=\"the peer takes nothing\""));
}

} // namespace
