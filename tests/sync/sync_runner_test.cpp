#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "lists/sync_type.h"
#include "sync/sync_state.h"
#include "tests/sync/sync_rig.h"

namespace
{

using namespace roamer;
using fakes::FakeSyncSet;
using platform::PowerService;
using sync_test::SyncRig;
using testing::Contains;
using testing::ElementsAre;
using testing::IsEmpty;

Dictionary status(int state, Dictionary more = {})
{
    return FakeSyncSet::status(state, std::move(more));
}

Dictionary failedPass(const char* name)
{
    return {{platform::kFailureNameKey, name}, {platform::kFailureReasonKey, "because"}};
}

/// A rig with a set and one doSync on it.
struct PassRig : SyncRig {
    FakeSyncSet& set = addSet();
    SyncRunner::Outcome outcome{true, true, true, true};

    long run(int type = kNowPeriodicSync, unsigned part = 1, unsigned parts = 1, bool stopCancels = false,
             bool disableSleep = false)
    {
        const auto result = runner.doSync(engine.set, type, part, parts, true, stopCancels, disableSleep, &outcome);
        look();
        return result;
    }
};

TEST(SyncRunner, ShowsAPassFromStartToCompletion)
{
    PassRig rig;
    fakes::TempRoot::writeFile(rig.localHome + "/Notes", "");
    rig.showWindow(kNowPeriodicSync);
    rig.set.script(rig.loop, {
                                 {0.25, status(SyncSetStateStarting)},
                                 {0.45, status(SyncSetStateChecking,
                                               {{platform::kProgressCurrentItemPathKey, rig.localHome + "/Notes"}})},
                                 {0.65, status(SyncSetStateProcessing, {{platform::kProgressPercentCompleteKey, 42.9},
                                                                        {platform::kProgressCompletedBytesKey, 500},
                                                                        {platform::kProgressTotalBytesKey, 1000}})},
                                 {0.85, status(SyncSetStateCleanup)},
                                 {1.05, status(SyncSetStateIdle)},
                             });
    EXPECT_EQ(rig.run(), 0);
    EXPECT_THAT(rig.seen, ElementsAre("starting|Home/|", "starting|at Home/|", "checking|at Home/Notes|",
                                      "copying|at Home/|500 B of 1000 B, 42%", "cleaning||", "cleaning||complete"));
    EXPECT_TRUE(rig.outcome.syncCompleted);
    EXPECT_FALSE(rig.outcome.wasCancelled || rig.outcome.allCancelled || rig.outcome.conflicts);
    EXPECT_EQ(rig.windows.shown->bar.value, 1.0);
    EXPECT_FALSE(rig.set.hasCallback());
    // The end is seen in the slice after it; the completed window then stays a little over two seconds.
    EXPECT_NEAR(rig.seconds(), 1.1 + 2.1, 0.11);
    EXPECT_TRUE(rig.log.has(2, "Pavo.doSync:kNowPeriodicSync Going into runloop mProgress = 1, "
                               "mSyncData.syncIsActive = 1"));
    EXPECT_TRUE(rig.log.has(2, "Pavo.doSync:kNowPeriodicSync mSyncData.syncIsActive is 0, wasCancelled = 0."));
    EXPECT_TRUE(rig.log.has(2, "Pavo.statusCallBack: syncState=SyncSetStateCleanup"));
    EXPECT_TRUE(rig.log.has(2, "Pavo.doSync:kNowPeriodicSync done  Returning status = 0"));
}

struct ProcessingCase {
    const char* name;
    Dictionary figures;
    const char* message;
    double value;
};

TEST(SyncRunner, WordsTheFiguresThatTheEngineHas)
{
    using namespace platform;
    const ProcessingCase cases[] = {
        {"bytes",
         {{kProgressPercentCompleteKey, 50}, {kProgressCompletedBytesKey, 1024}, {kProgressTotalBytesKey, 2048}},
         "1.00 KB of 2.00 KB, 50%",
         0.5},
        {"no bytes in all, so items",
         {{kProgressPercentCompleteKey, 99.99},
          {kProgressCompletedBytesKey, 0},
          {kProgressTotalBytesKey, 0},
          {kProgressCompletedItemsKey, 3},
          {kProgressTotalItemsKey, 7}},
         "3 of 7 items, 99%",
         0.9999},
        {"bytes before items",
         {{kProgressPercentCompleteKey, 1},
          {kProgressCompletedBytesKey, 1},
          {kProgressTotalBytesKey, 2},
          {kProgressCompletedItemsKey, 3},
          {kProgressTotalItemsKey, 7}},
         "1 B of 2 B, 1%",
         0.01},
        {"neither", {{kProgressPercentCompleteKey, 10}}, "", 0.1},
        {"no percentage, no message", {{kProgressCompletedItemsKey, 3}, {kProgressTotalItemsKey, 7}}, "", 0.0},
        {"beyond the end", {{kProgressPercentCompleteKey, 1e30}}, "", 1.0},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        PassRig rig;
        rig.showWindow(kNowPeriodicSync);
        double value = -1;
        rig.set.script(rig.loop, {{0.25, status(SyncSetStateProcessing, c.figures)}});
        rig.loop.at(0.5, [&] { value = rig.windows.shown->bar.value; });
        rig.set.script(rig.loop, {{0.75, status(SyncSetStateIdle)}});
        rig.run();
        EXPECT_THAT(rig.seen, Contains("copying|at Home/|" + std::string(c.message)));
        EXPECT_DOUBLE_EQ(value, c.value);
    }
}

TEST(SyncRunner, CountsThePartsOfALongSync)
{
    PassRig rig;
    rig.showWindow(kLoginPrefSync, 1, 3);
    rig.set.script(rig.loop, {{0.2, status(SyncSetStateUpdating)}, {0.4, status(SyncSetStateIdle)}});
    rig.run(kLoginPrefSync, 1, 3);
    EXPECT_THAT(rig.seen, Contains("updating settings (1/3)|at Home/Library/|"));
    EXPECT_EQ(rig.seen.back(), "cleaning settings (1/3)||settings complete");
}

TEST(SyncRunner, WithoutAWindowAPassRunsUnseen)
{
    PassRig rig;
    rig.set.script(rig.loop, {{0.05, status(SyncSetStateProcessing)}, {3.0, status(SyncSetStateIdle)}});
    EXPECT_EQ(rig.run(), 0);
    EXPECT_FALSE(rig.outcome.syncCompleted);
    EXPECT_NEAR(rig.seconds(), 3.05, 0.11);
}

TEST(SyncRunner, WithoutADisplayAPassCompletes)
{
    PassRig rig;
    rig.windows.hasDisplay = false;
    rig.showWindow(kNowPeriodicSync);
    rig.set.script(rig.loop, {{0.25, status(SyncSetStateProcessing)}, {0.65, status(SyncSetStateIdle)}});
    EXPECT_EQ(rig.run(), 0);
    EXPECT_TRUE(rig.outcome.syncCompleted);
}

struct ResultCase {
    const char* name;
    long engineResult;
    long status;
};

TEST(SyncRunner, PassesTheEnginesResultOn)
{
    const ResultCase cases[] = {
        {"well", 0, 0}, {"aborted on request", -999, 0}, {"an error", -43, -43}, {"other", 7, 7}};
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        PassRig rig;
        rig.set.result = c.engineResult;
        rig.set.script(rig.loop, {{0.05, status(SyncSetStateIdle)}});
        EXPECT_EQ(rig.run(), c.status);
        const auto line = "Pavo.doSync:kNowPeriodicSync phdSyncSet.lastSyncResult = " + std::to_string(c.engineResult);
        EXPECT_TRUE(rig.log.has(2, line));
        EXPECT_EQ(rig.log.has(1, line), c.status != 0);
    }
}

TEST(SyncRunner, AnErrorOfAPassThatThePersonLeftIsNotReported)
{
    for (const bool close : {false, true}) {
        PassRig rig;
        rig.set.result = -43;
        rig.showWindow(kNowPeriodicSync);
        rig.loop.at(0.5, [&] { close ? rig.clickCloseBox() : rig.pressStop(); });
        EXPECT_EQ(rig.run(), 0);
        EXPECT_EQ(rig.outcome.wasCancelled, !close);
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
    rig.set.present = status(SyncSetStateProcessing);
    // At 20 the last status is 9 seconds old and still good, at 30 it is 10 seconds older.
    rig.set.script(rig.loop, {{11.0, status(SyncSetStateProcessing)}});
    rig.run();
    EXPECT_THAT(asked, ElementsAre(10.0, 30.0, 40.0, 50.0));
    EXPECT_EQ(rig.log.countContaining("Entering Pavo.checkBraidTimer"), 5);
}

TEST(SyncRunner, LeavesAWindowAloneThatIsBeingTakenDown)
{
    PassRig rig;
    rig.set.present = status(SyncSetStateProcessing);
    rig.state.mPavoBlockProgressTimer = true;
    rig.loop.at(25.0, [&] { rig.state.mPavoBlockProgressTimer = false; });
    rig.loop.at(35.0, [&] { rig.set.present = status(SyncSetStateIdle); });
    rig.run();
    EXPECT_EQ(rig.set.infos, 2);
}

TEST(SyncRunner, NoticesThatTheEngineIsGone)
{
    PassRig rig;
    rig.showWindow(kNowPeriodicSync);
    rig.set.result = -43;
    rig.loop.at(1.0, [&] { rig.engine.agentRunning = false; });
    EXPECT_EQ(rig.run(), -2);
    EXPECT_TRUE(rig.outcome.wasCancelled);
    EXPECT_FALSE(rig.outcome.syncCompleted);
    EXPECT_TRUE(rig.state.mProgress->wasCancelled());
    EXPECT_EQ(rig.set.aborts, 0);
    EXPECT_EQ(rig.log.countContaining("lastSyncResult"), 0);
    // The watchdog sees it at 10 s; the cancel has stopped the window's session, so only the last text stays.
    EXPECT_NEAR(rig.seconds(), 12.1, 0.3);
}

TEST(SyncRunner, APassThatWroteToAReadOnlyHomeIsNotComplete)
{
    PassRig rig;
    rig.showWindow(kNowPeriodicSync);
    const Array passes{"no failure", failedPass("SomethingElse"), failedPass(platform::kAttemptToWriteToReadOnlyPeer),
                       failedPass("NotLookedAt")};
    rig.set.result = 5;
    rig.set.script(rig.loop, {{0.2, status(SyncSetStateFinished, {{platform::kProgressSyncPassStatusKey, passes}})},
                              // Not a state that reports passes: this list is not taken over.
                              {0.4, status(SyncSetStateAborted, {{platform::kProgressSyncPassStatusKey, Array{}}})},
                              {0.6, status(SyncSetStateIdle)}});
    EXPECT_EQ(rig.run(), -3);
    EXPECT_FALSE(rig.outcome.syncCompleted);
    EXPECT_EQ(rig.seen.back(), "finishing||");
    EXPECT_EQ(rig.log.countContaining("name=\"SomethingElse\", reason=\"because\""), 1);
    EXPECT_EQ(rig.log.countContaining("name=\"(null)\", reason=\"(null)\""), 1);
    EXPECT_EQ(rig.log.countContaining("NotLookedAt"), 0);
    EXPECT_LT(rig.seconds(), 1.0);
}

struct CancelCase {
    const char* name;
    unsigned part;
    unsigned parts;
    bool stopCancels;
    bool option;
    bool allCancelled;
    const char* first;
    const char* last;
};

TEST(SyncRunner, WordsACancelByItsReach)
{
    const CancelCase cases[] = {
        {"one part, cancel", 1, 1, true, false, true, "cancelling||", "cancelling||cancelled"},
        {"one part, skip", 1, 1, false, false, true, "skipping||", "skipping||skipped"},
        {"first of three, skip all", 1, 3, false, false, true, "skipping||", "skipping||skipped"},
        {"first of three, skip this", 1, 3, false, true, false, "skipping settings (1/3)||",
         "skipping settings (1/3)||settings skipped"},
        {"first of three, cancel", 1, 3, true, false, true, "cancelling||", "cancelling||cancelled"},
        {"last of three, skip this", 3, 3, false, true, false, "skipping settings (3/3)||",
         "skipping settings (3/3)||skipped"},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        PassRig rig;
        rig.showWindow(kLoginPrefSync, c.part, c.parts, c.stopCancels);
        rig.set.present = status(SyncSetStateProcessing);
        rig.set.onAbort = [&] { rig.loop.at(4.0, [&] { rig.set.report(status(SyncSetStateIdle)); }); };
        rig.loop.at(0.5, [&] { c.option ? rig.pressStopWithOption() : rig.pressStop(); });
        EXPECT_EQ(rig.run(kLoginPrefSync, c.part, c.parts, c.stopCancels), 0);
        EXPECT_TRUE(rig.outcome.wasCancelled);
        EXPECT_EQ(rig.outcome.allCancelled, c.allCancelled);
        EXPECT_FALSE(rig.outcome.syncCompleted);
        EXPECT_EQ(rig.set.aborts, 1);
        EXPECT_THAT(rig.seen, Contains(c.first));
        EXPECT_EQ(rig.seen.back(), c.last);
        // Cancelling waits for the engine to stop, then the last text stays for two seconds.
        EXPECT_NEAR(rig.seconds(), 0.5 + 4.0 + 2.1, 0.4);
        EXPECT_TRUE(rig.log.has(2, "Pavo.doSync:kLoginPrefSync [phdSyncSet abortSync];"));
    }
}

TEST(SyncRunner, AStatusThatMeetsAPressedStopEndsThePass)
{
    PassRig rig;
    rig.showWindow(kNowPeriodicSync);
    // Without the step that would notice it first.
    rig.loop.at(0.25, [&] {
        rig.pressStop();
        rig.set.report(status(SyncSetStateProcessing));
    });
    EXPECT_EQ(rig.run(), 0);
    EXPECT_TRUE(rig.log.has(2, "Pavo.statusCallBack Stop button pressed"));
    EXPECT_EQ(rig.set.aborts, 2);
}

TEST(SyncRunner, AStopWhileCompletionIsShownIsForTheNextParts)
{
    for (const bool option : {false, true}) {
        PassRig rig;
        rig.showWindow(kLoginPrefSync, 1, 3);
        rig.set.script(rig.loop, {{0.2, status(SyncSetStateIdle)}});
        rig.loop.at(1.0, [&] { option ? rig.pressStopWithOption() : rig.pressStop(); });
        EXPECT_EQ(rig.run(kLoginPrefSync, 1, 3), 0);
        EXPECT_TRUE(rig.outcome.syncCompleted);
        EXPECT_FALSE(rig.outcome.wasCancelled);
        EXPECT_EQ(rig.outcome.allCancelled, !option);
    }
}

TEST(SyncRunner, AClosedWindowLeavesThePassRunning)
{
    PassRig rig;
    rig.showWindow(kPeriodicSync);
    rig.set.present = status(SyncSetStateProcessing);
    rig.loop.at(1.0, [&] { rig.clickCloseBox(); });
    EXPECT_EQ(rig.run(kPeriodicSync), 0);
    EXPECT_EQ(rig.seen.back(), "closed||");
    EXPECT_EQ(rig.set.aborts, 0);
    EXPECT_FALSE(rig.outcome.syncCompleted || rig.outcome.wasCancelled);
    EXPECT_NEAR(rig.seconds(), 1.0 + 2.1, 0.3);
}

TEST(SyncRunner, RemembersConflictsThatWereSettledLater)
{
    PassRig rig;
    const auto conflicts = [](int count) {
        return status(SyncSetStateProcessing, {{platform::kSyncSetUnresolvedConflictsCountKey, count}});
    };
    rig.set.script(rig.loop, {{0.1, conflicts(2)}, {0.2, conflicts(0)}, {0.3, status(SyncSetStateIdle)}});
    rig.run();
    EXPECT_TRUE(rig.outcome.conflicts);
    rig.set.script(rig.loop, {{0.1, conflicts(0)}, {0.3, status(SyncSetStateIdle)}});
    rig.run();
    EXPECT_FALSE(rig.outcome.conflicts);
}

TEST(SyncRunner, KeepsTheMachineAwakeOnlyMeanwhile)
{
    for (const bool disableSleep : {true, false}) {
        PassRig rig;
        rig.powerManager.preventSystemSleep(); // so that there is somebody to ask
        rig.powerManager.allowSystemSleep();
        const auto sleep = [&] { return rig.power.handler(PowerService::SleepMessage::CanSystemSleep); };
        auto during = PowerService::Answer::Allow;
        rig.set.present = status(SyncSetStateProcessing);
        rig.loop.at(15.0, [&] { during = sleep(); });
        rig.set.script(rig.loop, {{25.0, status(SyncSetStateIdle)}});
        rig.run(kLoginPrefSync, 1, 1, true, disableSleep);
        EXPECT_EQ(during, disableSleep ? PowerService::Answer::Cancel : PowerService::Answer::Allow);
        EXPECT_EQ(sleep(), PowerService::Answer::Allow);
        EXPECT_EQ(rig.power.activities, disableSleep ? 2 : 0);
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

TEST(SyncRunner, AMissingTextCostsAnUpdateButNotThePass)
{
    PassRig rig;
    rig.showWindow(kNowPeriodicSync);
    rig.state.mLocalizedStringsDict.erase("PAVO_PROG_PATH_MESSAGE");
    rig.set.script(rig.loop, {{0.2, status(SyncSetStateChecking)}, {0.4, status(SyncSetStateIdle)}});
    EXPECT_EQ(rig.run(), 0);
    EXPECT_TRUE(rig.outcome.syncCompleted);
    EXPECT_EQ(rig.log.countContaining("Pavo.statusCallBack caught exception: name=\"InvalidArgument\""), 1);

    PassRig parts;
    parts.showWindow(kLoginPrefSync, 1, 2);
    parts.state.mLocalizedStringsDict.erase("PAVO_PROG_STATUS_MESSAGE_SYNCPPART_COMPLETE");
    parts.set.script(parts.loop, {{0.2, status(SyncSetStateIdle)}});
    EXPECT_THROW(parts.run(kLoginPrefSync, 1, 2, false, true), platform::Failure);
    EXPECT_FALSE(parts.set.hasCallback());
    EXPECT_EQ(parts.power.handler(PowerService::SleepMessage::CanSystemSleep), PowerService::Answer::Allow);
}

} // namespace
