#include <gmock/gmock.h>

#include <cmath>

#include "tests/sync/sync_rig.h"

namespace
{

using namespace roamer;
using platform::PowerService;
using sync_test::status;
using sync_test::SyncRig;
using testing::Contains;
using testing::ElementsAre;

/// A rig with a set and one doSync on it.
struct PassRig : SyncRig {
    fakes::FakeSyncSet& set = addSet();
    SyncRunner::Outcome outcome{true, true, true, true};

    bool maySleep() { return power.handler(PowerService::SleepMessage::CanSystemSleep) == PowerService::Answer::Allow; }
    long run(int type = kNowPeriodicSync, unsigned part = 1, unsigned parts = 1, bool stopCancels = false,
             bool disableSleep = false)
    {
        const auto result = runner.doSync(engine.set, type, part, parts, true, stopCancels, disableSleep, &outcome);
        look();
        return result;
    }
};

TEST(SyncRunner, ShowsAPassAndKeepsTheMachineAwakeUntilItsCompletion)
{
    PassRig rig;
    rig.showWindow(kNowPeriodicSync);
    const auto processing = [](PropertyList percent, int totalBytes) {
        return status(SyncSetStateProcessing, {{platform::kProgressPercentCompleteKey, percent},
                                               {platform::kProgressCompletedBytesKey, 100},
                                               {platform::kProgressTotalBytesKey, totalBytes},
                                               {platform::kProgressCompletedItemsKey, 1},
                                               {platform::kProgressTotalItemsKey, 2}});
    };
    rig.set.script(rig.loop, {{0.25, status(SyncSetStateStarting)},
                              {0.45, processing(45.9, 200)},
                              {0.65, processing(std::nan(""), 0)},
                              {0.85, status(SyncSetStateCleanup)},
                              {1.05, status(SyncSetStateIdle)}});
    rig.loop.at(0.7, [&] { EXPECT_FALSE(rig.maySleep()); });
    EXPECT_EQ(rig.run(kNowPeriodicSync, 1, 1, false, true), 0);
    EXPECT_THAT(rig.seen, ElementsAre("STARTING|Home/|", "STARTING|at Home/|", "PROCESSING|at Home/|100 B/200 B 45%",
                                      "PROCESSING|at Home/|1/2 items 0%", "CLEANING||", "CLEANING||SYNC_COMPLETE"));
    EXPECT_FALSE(rig.outcome.wasCancelled || rig.outcome.allCancelled || rig.outcome.conflicts);
    EXPECT_TRUE(rig.maySleep());
}

TEST(SyncRunner, PassesTheEnginesResultOn)
{
    enum Event { Nothing, Stop, Close, EngineGone };
    struct Case {
        const char* name;
        long engineResult;
        Event event;
        long status;
        double ends;
    } const cases[] = {
        {"well", 0, Nothing, 0, 3.7},
        {"aborted on request", -999, Nothing, 0, 3.7},
        {"an error", -43, Nothing, -43, 3.7},
        {"an error of a pass that the person ended", -43, Stop, 0, 3.7},
        {"an error of a pass whose window was closed", -43, Close, 0, 2.6},
        {"seen by the watchdog", -43, EngineGone, -2, 12.1},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        PassRig rig;
        rig.showWindow(kNowPeriodicSync);
        rig.set.result = c.engineResult;
        rig.loop.at(0.5, [&] {
            if (c.event == Stop) rig.pressStop();
            if (c.event == Close) rig.windows.owner->windowShouldClose();
            rig.engine.agentRunning = c.event != EngineGone;
        });
        if (c.event == Nothing) rig.set.script(rig.loop, {{1.5, status(SyncSetStateIdle)}});
        EXPECT_EQ(rig.run(), c.status);
        EXPECT_EQ(rig.outcome.syncCompleted, c.event == Nothing);
        EXPECT_EQ(rig.outcome.wasCancelled, c.event == Stop || c.event == EngineGone);
        EXPECT_EQ(rig.set.count("abortSync"), c.event == Stop) << "a closed window leaves the pass running";
        EXPECT_NEAR(rig.seconds(), c.ends, 0.3) << "the last text stays for two seconds";
    }
}

TEST(SyncRunner, AsksAnEngineThatFallsSilent)
{
    PassRig rig;
    std::vector<double> asked;
    rig.set.onInfo = [&] {
        asked.push_back(rig.seconds());
        if (rig.seconds() > 45) rig.set.present = status(SyncSetStateIdle);
    };
    // At 20 the last status is 9 seconds old and still good, at 30 it is 10 seconds older.
    rig.set.script(rig.loop, {{0, status(SyncSetStateProcessing)}, {11.0, status(SyncSetStateProcessing)}});
    rig.run();
    EXPECT_THAT(asked, ElementsAre(10.0, 30.0, 40.0, 50.0));
}

TEST(SyncRunner, APassThatWroteToAReadOnlyHomeIsNotComplete)
{
    PassRig rig;
    rig.showWindow(kNowPeriodicSync);
    const auto failed = [](const char* name) { return Dictionary{{platform::kFailureNameKey, name}}; };
    const Array passes{"no failure", failed("SomethingElse"), failed(platform::kAttemptToWriteToReadOnlyPeer)};
    rig.set.result = 5;
    rig.set.script(rig.loop, {{0.1, status(SyncSetStateFinished, {{platform::kSyncSetUnresolvedConflictsCountKey, 2}})},
                              {0.2, status(SyncSetStateFinished, {{platform::kProgressSyncPassStatusKey, passes}})},
                              // Not a state that reports passes: this list is not taken over.
                              {0.4, status(SyncSetStateAborted, {{platform::kProgressSyncPassStatusKey, Array{}}})},
                              {0.6, status(SyncSetStateIdle)}});
    EXPECT_EQ(rig.run(), -3);
    EXPECT_FALSE(rig.outcome.syncCompleted);
    EXPECT_TRUE(rig.outcome.conflicts) << "also when they were settled later";
    EXPECT_EQ(rig.seen.back(), "FINISHING||");
}

TEST(SyncRunner, WordsACancelByItsReach)
{
    struct Case {
        const char* name;
        unsigned part, parts;
        bool stopCancels, option, allCancelled;
        std::string first, last;
    } const cases[] = {
        {"one part, skip", 1, 1, false, false, true, "SKIPPING||", "SYNC_SKIPPED"},
        {"first of three, skip all", 1, 3, false, false, true, "SKIPPING||", "SYNC_SKIPPED"},
        {"first of three, skip this", 1, 3, false, true, false, "SKIPPING settings (1/3)||", "settings skipped"},
        {"first of three, cancel", 1, 3, true, false, true, "CANCELLING||", "SYNC_CANCELED"},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        PassRig rig;
        rig.showWindow(kLoginPrefSync, c.part, c.parts, c.stopCancels);
        rig.set.present = status(SyncSetStateProcessing);
        rig.set.onAbort = [&] { rig.loop.at(4.0, [&] { rig.set.report(status(SyncSetStateIdle)); }); };
        rig.loop.at(0.5, [&] { rig.pressStop(c.option); });
        EXPECT_EQ(rig.run(kLoginPrefSync, c.part, c.parts, c.stopCancels), 0);
        EXPECT_TRUE(rig.outcome.wasCancelled && !rig.outcome.syncCompleted);
        EXPECT_EQ(rig.outcome.allCancelled, c.allCancelled);
        EXPECT_EQ(rig.set.count("abortSync"), 1);
        EXPECT_THAT(rig.seen, Contains(c.first));
        EXPECT_EQ(rig.seen.back(), c.first + c.last);
        // Cancelling waits for the engine to stop, then the last text stays for two seconds.
        EXPECT_NEAR(rig.seconds(), 0.5 + 4.0 + 2.1, 0.4);
    }
}

TEST(SyncRunner, AStopWhileCompletionIsShownIsForTheNextParts)
{
    for (const bool option : {false, true}) {
        PassRig rig;
        rig.showWindow(kLoginPrefSync, 1, 3);
        rig.set.script(rig.loop, {{0.2, status(SyncSetStateIdle)}});
        rig.loop.at(1.0, [&] {
            EXPECT_EQ(rig.seen.back(), "CLEANING settings (1/3)||settings complete");
            rig.pressStop(option);
        });
        EXPECT_EQ(rig.run(kLoginPrefSync, 1, 3), 0);
        EXPECT_TRUE(rig.outcome.syncCompleted && !rig.outcome.wasCancelled);
        EXPECT_EQ(rig.outcome.allCancelled, !option);
    }
}

TEST(SyncRunner, EndsWhenAnotherFlowsPassTookOver)
{
    PassRig rig;
    rig.showWindow(kNowPeriodicSync);
    SyncRunner::Outcome inner;
    rig.loop.at(1.0, [&] {
        rig.set.script(rig.loop, {{0.5, status(SyncSetStateIdle)}});
        rig.runner.doSync(rig.engine.set, kLogoutPrefSync, 1, 1, true, true, true, &inner);
        rig.texts.takeDownSyncProgress();
        rig.set.result = -43;
    });
    EXPECT_EQ(rig.run(), 0);
    EXPECT_TRUE(inner.syncCompleted);
    EXPECT_FALSE(rig.outcome.syncCompleted || rig.outcome.wasCancelled);
    EXPECT_FALSE(rig.set.hasCallback());
}

TEST(SyncRunner, AMissingTextIsRaisedAfterCleaningUp)
{
    PassRig rig;
    rig.showWindow(kLoginPrefSync, 1, 2);
    rig.state.mLocalizedStringsDict.erase("PAVO_PROG_PATH_MESSAGE"); // costs an update only
    rig.state.mLocalizedStringsDict.erase("PAVO_PROG_STATUS_MESSAGE_SYNCPPART_COMPLETE");
    rig.set.script(rig.loop, {{0.2, status(SyncSetStateChecking)}, {0.4, status(SyncSetStateIdle)}});
    EXPECT_THROW(rig.run(kLoginPrefSync, 1, 2, false, true), platform::Failure);
    EXPECT_EQ(rig.set.present, status(SyncSetStateIdle)) << "it ran to its end";
    EXPECT_FALSE(rig.set.hasCallback());
    EXPECT_TRUE(rig.maySleep());
}

} // namespace
