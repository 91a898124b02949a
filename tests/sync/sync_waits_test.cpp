#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "lists/sync_type.h"
#include "sync/sync_state.h"
#include "tests/sync/sync_rig.h"

namespace
{

using namespace roamer;
using fakes::FakeSyncSet;
using sync_test::SyncRig;

Dictionary status(int state, Dictionary more = {})
{
    return FakeSyncSet::status(state, std::move(more));
}

struct IdleCase {
    const char* name;
    std::vector<std::pair<double, int>> states; ///< The first one is there from the start.
    double minWait;
    double maxWait;
    double ends; ///< Seconds, to within two slices.
};

TEST(WaitTillSyncIdle, EndsByTheSetOrItsSilence)
{
    const IdleCase cases[] = {
        {"idle all along", {{0, 0}}, 2.0, 30.0, 2.1},
        {"idle before the least time is over", {{0, 4}, {1.0, 0}}, 2.0, 30.0, 2.1},
        {"idle later", {{0, 4}, {7.0, 0}}, 2.0, 30.0, 7.1},
        {"silent too long", {{0, 4}}, 2.0, 30.0, 32.2},
        {"talking for as long as it likes", {{0, 4}, {25, 4}, {50, 5}, {75, 4}, {100, 0}}, 2.0, 30.0, 100.1},
        {"talking, then silent", {{0, 4}, {25, 4}, {50, 5}}, 2.0, 30.0, 80.1},
        {"not idle, and nothing to wait for", {{0, 4}}, 2.0, 0.0, 2.1},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        SyncRig rig;
        auto& set = rig.addSet();
        set.present = status(c.states.front().second);
        for (const auto& [at, state] : c.states) {
            if (at > 0) set.script(rig.loop, {{at, status(state)}});
        }
        bool before = false;
        set.setStatusCallback([&](const Dictionary&) { before = true; });
        rig.runner.waitTillSyncIdle(rig.engine.set, c.minWait, c.maxWait);
        EXPECT_NEAR(rig.seconds(), c.ends, 0.21);
        EXPECT_LE(set.infos, 1);
        // Whoever listened before listens again.
        before = false;
        set.report(status(0));
        EXPECT_TRUE(before);
    }
}

TEST(WaitTillSyncIdle, LogsItsWayOut)
{
    SyncRig rig;
    auto& set = rig.addSet();
    set.present = status(SyncSetStateProcessing, {{platform::kSyncSetUnresolvedConflictsCountKey, 2},
                                                  {platform::kSyncSetUnresolvedErrorsCountKey, 3},
                                                  {platform::kSyncSetUIAppRunningKey, true}});
    rig.runner.waitTillSyncIdle(rig.engine.set, 0.0, 1.0);
    EXPECT_TRUE(rig.log.has(2, "Pavo.waitTillSyncIdle: minWait = 0.000000, maxWait = 1.000000"));
    EXPECT_TRUE(rig.log.has(2, "Pavo.waitForSyncCallBack: syncState = SyncSetStateProcessing, mSyncData.syncIsIdle=0, "
                               "mSyncData.braidUIRunning=1, mSyncData.unresolvedConflicts=2, "
                               "mSyncData.unresolvedErrors=3"));
    EXPECT_TRUE(rig.log.has(1, "Pavo.waitTillSyncIdle: timing out because no callbacks for 1.100000 seconds.  "
                               "Total wait 1.200000 seconds"));
    EXPECT_TRUE(rig.log.has(2, "Pavo.waitTillSyncIdle: phdSyncSet.statusCallbackDelegate = "
                               "saveStatusCallbackDelegate; phdSyncSet.statusCallbackSelector = "
                               "saveStatusCallbackSelector;"));
    EXPECT_TRUE(rig.log.has(2, "Pavo.waitTillSyncIdle: exiting"));
}

TEST(WaitTillSyncIdle, IsAPauseWithoutASet)
{
    SyncRig rig;
    rig.showWindow(kNowPeriodicSync);
    rig.runner.waitTillSyncIdle(nullptr, 2.0, 0.0);
    EXPECT_NEAR(rig.seconds(), 2.1, 0.05);
    EXPECT_GE(rig.windows.steps, 20);
    EXPECT_EQ(rig.log.countContaining("Pavo.waitTillSyncIdle: timing out after waiting 2.100000 seconds (no sync set)"),
              1);
}

TEST(WaitTillSyncIdle, EndsWithTheWindowsSessionAndWithTheEngine)
{
    SyncRig stopped;
    stopped.addSet().present = status(SyncSetStateProcessing);
    stopped.showWindow(kNowPeriodicSync);
    stopped.loop.at(1.0, [&] { stopped.pressStop(); });
    stopped.runner.waitTillSyncIdle(stopped.engine.set, 2.0, 30.0);
    EXPECT_NEAR(stopped.seconds(), 1.0, 0.11);

    SyncRig gone;
    gone.addSet().present = status(SyncSetStateProcessing);
    gone.loop.at(5.0, [&] { gone.engine.agentRunning = false; });
    gone.runner.waitTillSyncIdle(gone.engine.set, 2.0, 30.0);
    EXPECT_NEAR(gone.seconds(), 5.1, 0.11);
    EXPECT_FALSE(gone.engine.set->hasCallback());
}

TEST(WaitTillSyncIdle, EndsWhenAnotherFlowRunsAPass)
{
    SyncRig rig;
    auto& set = rig.addSet();
    set.present = status(SyncSetStateProcessing);
    rig.loop.at(3.0, [&] {
        rig.loop.at(0.5, [&] { set.report(status(SyncSetStateIdle)); });
        rig.runner.doSync(rig.engine.set, kLogoutPrefSync, 1, 1, true, true, false, nullptr);
        set.present = status(SyncSetStateProcessing);
    });
    rig.runner.waitTillSyncIdle(rig.engine.set, 2.0, 30.0);
    EXPECT_NEAR(rig.seconds(), 3.6, 0.11);
}

TEST(WaitTillSyncIdle, SurvivesAWaitInsideIt)
{
    SyncRig rig;
    auto& set = rig.addSet();
    set.present = status(SyncSetStateProcessing);
    rig.loop.at(3.0, [&] { rig.runner.waitTillSyncIdle(rig.engine.set, 1.0, 0.0); });
    set.script(rig.loop, {{20.0, status(SyncSetStateIdle)}});
    rig.runner.waitTillSyncIdle(rig.engine.set, 2.0, 30.0);
    EXPECT_NEAR(rig.seconds(), 20.1, 0.11);
}

Dictionary counts(int conflicts, int errors, bool uiRunning = true)
{
    return status(SyncSetStateIdle, {{platform::kSyncSetUnresolvedConflictsCountKey, conflicts},
                                     {platform::kSyncSetUnresolvedErrorsCountKey, errors},
                                     {platform::kSyncSetUIAppRunningKey, uiRunning}});
}

struct ConflictCase {
    const char* name;
    std::vector<std::pair<double, Dictionary>> reports; ///< The first one is there from the start.
    bool conflictsOnly;
    double maxWait;
    bool result;
    double ends; ///< Seconds, to within two slices.
};

TEST(WaitTillConflictsResolved, EndsWhenTheDialogsAreDone)
{
    const ConflictCase cases[] = {
        {"nothing to settle", {{0, counts(0, 0)}}, false, 60.0, true, 0},
        {"nobody shows them", {{0, counts(3, 0, false)}}, false, 60.0, true, 0},
        {"settled", {{0, counts(3, 0)}, {50, counts(0, 0)}}, false, 60.0, true, 50},
        {"errors count", {{0, counts(0, 3)}, {50, counts(0, 0)}}, false, 60.0, true, 50},
        {"errors do not count", {{0, counts(0, 3)}, {50, counts(0, 0)}}, true, 60.0, true, 0},
        {"the dialogs are closed", {{0, counts(3, 0)}, {20, counts(3, 0, false)}}, false, 60.0, true, 20},
        {"nobody answers", {{0, counts(3, 0)}}, false, 60.0, false, 61},
        {"an answer starts the time anew", {{0, counts(3, 0)}, {50, counts(2, 0)}}, false, 60.0, false, 111},
        {"an error settled does too", {{0, counts(3, 9)}, {50, counts(3, 8)}}, true, 60.0, false, 111},
        {"no limit", {{0, counts(3, 0)}, {5000, counts(0, 0)}}, false, 0.0, true, 5000},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        SyncRig rig;
        auto& set = rig.addSet();
        set.present = c.reports.front().second;
        for (const auto& [at, news] : c.reports) {
            if (at > 0) set.script(rig.loop, {{at, news}});
        }
        EXPECT_EQ(rig.runner.waitTillConflictsResolved(c.conflictsOnly, rig.engine.set, c.maxWait), c.result);
        EXPECT_NEAR(rig.seconds(), c.ends, 1.01);
        EXPECT_FALSE(set.hasCallback());
        EXPECT_TRUE(
            rig.log.has(2, "Pavo.waitTillConflictsResolved: exiting with result = " + std::to_string(c.result)));
    }
}

TEST(WaitTillConflictsResolved, AsksASilentEngineEveryTenSeconds)
{
    SyncRig rig;
    auto& set = rig.addSet();
    set.present = counts(3, 0);
    rig.loop.at(35.0, [&] { set.present = counts(0, 0); });
    EXPECT_TRUE(rig.runner.waitTillConflictsResolved(false, rig.engine.set, 0.0));
    EXPECT_NEAR(rig.seconds(), 44.0, 1.01);
    EXPECT_EQ(set.infos, 5);
}

TEST(WaitTillConflictsResolved, EndsWithTheWindowTheEngineOrTheSet)
{
    SyncRig noSet;
    EXPECT_TRUE(noSet.runner.waitTillConflictsResolved(false, nullptr, 60.0));
    EXPECT_TRUE(noSet.log.has(1, "Pavo.waitTillConflictsResolved: phdSyncSet = nil"));

    SyncRig stopped;
    stopped.addSet().present = counts(3, 0);
    stopped.showWindow(kLoginPrefSync);
    stopped.loop.at(5.0, [&] { stopped.pressStop(); });
    EXPECT_TRUE(stopped.runner.waitTillConflictsResolved(false, stopped.engine.set, 60.0));
    EXPECT_NEAR(stopped.seconds(), 5.0, 1.01);

    SyncRig gone;
    gone.addSet().present = counts(3, 0);
    gone.loop.at(5.0, [&] { gone.engine.agentRunning = false; });
    EXPECT_TRUE(gone.runner.waitTillConflictsResolved(false, gone.engine.set, 60.0));
    EXPECT_NEAR(gone.seconds(), 5.0, 1.01);
}

TEST(WaitTillConflictsResolved, LogsATimeOutWithTheCounts)
{
    SyncRig rig;
    rig.addSet().present = counts(3, 1);
    EXPECT_FALSE(rig.runner.waitTillConflictsResolved(true, rig.engine.set, 2.0));
    EXPECT_TRUE(rig.log.has(2, "Pavo.waitTillConflictsResolved:1 maxWait = 2.000000"));
    EXPECT_TRUE(rig.log.has(1, "Pavo.waitTillConflictsResolved:1  timing out after waiting 3.000000 seconds, "
                               "braidUIRunning = 1, unresolvedConflicts = 3, unresolvedErrors = 1 "));
}

} // namespace
