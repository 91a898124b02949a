#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <chrono>

#include "lists/sync_type.h"
#include "platform/failure.h"
#include "sync/sync_state.h"
#include "tests/flows/flow_rig.h"

namespace
{

using namespace roamer;
using namespace std::chrono_literals;
using fakes::FakeSyncSet;
using flows_test::FlowRig;
using testing::ElementsAre;
using testing::IsEmpty;

TEST(RefreshPreferences, SetsBackgroundSyncsUpAnew)
{
    FlowRig rig;
    EXPECT_EQ(rig.refresh.refreshPreferences(), 0);
    const auto& set = *rig.engine.set;
    EXPECT_TRUE(set.automatic);
    EXPECT_EQ(*set.nextSyncTime - rig.loop.date(), 75s);
    EXPECT_EQ(rig.state.mServerBusyState, kPavoNotBusy);
    EXPECT_TRUE(rig.log.has(2, "Pavo.refreshPreferences: [self setupPeriodicSync:TRUE] == 0"));
    EXPECT_EQ(rig.seconds(), 0);
}

TEST(RefreshPreferences, SwitchesThemOffToo)
{
    FlowRig rig;
    rig.addSet();
    rig.prefer(kPeriodicSyncOn, false);
    EXPECT_EQ(rig.refresh.refreshPreferences(), 0);
    EXPECT_FALSE(rig.engine.set->automatic);
    EXPECT_TRUE(rig.log.has(2, "Pavo.refreshPreferences: [self setupPeriodicSync:FALSE] == 0"));
}

TEST(RefreshPreferences, IsTurnedAwayWhileAnotherCommandRuns)
{
    FlowRig rig;
    rig.state.mServerBusyState = kPavoSyncNow;
    EXPECT_EQ(rig.refresh.refreshPreferences(), -1);
    const std::string text = "Pavo.refreshPreferences Server is busy! Ignoring command";
    EXPECT_THAT(rig.log.system, ElementsAre(text));
    EXPECT_TRUE(rig.log.has(0, text));
    EXPECT_EQ(rig.state.mServerBusyState, kPavoSyncNow);
    EXPECT_EQ(rig.engine.asked, 0);
}

TEST(RefreshPreferences, WaitsForARunningPassInSeconds)
{
    FlowRig rig;
    auto& set = rig.addSet();
    set.present = FakeSyncSet::status(SyncSetStateProcessing);
    rig.loop.at(6.5, [&] {
        EXPECT_EQ(rig.state.mServerBusyState, kPavoRefreshPreferences);
        EXPECT_EQ(rig.refresh.refreshPreferences(), -1);
        EXPECT_THAT(set.calls, IsEmpty());
    });
    rig.loop.at(100.5, [&] { set.present = FakeSyncSet::status(SyncSetStateIdle); });
    EXPECT_EQ(rig.refresh.refreshPreferences(), 0);
    EXPECT_EQ(rig.seconds(), 101);
    EXPECT_TRUE(rig.log.has(2, "Pavo.refreshPreferences Slept for 101 seconds before periodic sync completed"));
}

TEST(RefreshPreferences, DoesNotWaitBehindAProgressWindow)
{
    FlowRig rig;
    rig.addSet().present = FakeSyncSet::status(SyncSetStateProcessing);
    rig.showWindow(kPeriodicSync);
    EXPECT_EQ(rig.refresh.refreshPreferences(), 0);
    EXPECT_EQ(rig.seconds(), 0);
    EXPECT_EQ(rig.log.countContaining("timer runloop"), 0);
}

TEST(RefreshPreferences, NeedsAnAccount)
{
    FlowRig missing;
    missing.state.mUserRecord.reset();
    EXPECT_EQ(missing.refresh.refreshPreferences(), kRecordNotFound);
    EXPECT_THAT(missing.log.system, IsEmpty());
    EXPECT_EQ(missing.engine.set, nullptr);
    EXPECT_EQ(missing.state.mServerBusyState, kPavoNotBusy);

    FlowRig broken;
    broken.state.mUserRecord.reset();
    broken.directory.openError = {.code = -14002, .description = "no node"};
    EXPECT_EQ(broken.refresh.refreshPreferences(), -14002);
    EXPECT_EQ(broken.log.system.back(), "Pavo.refreshPreferences: [self checkUserInfo] == -14002");
}

TEST(RefreshPreferences, TellsWhenThereIsNoSet)
{
    FlowRig rig;
    rig.engine.creation = fakes::FakeSyncManager::Creation::Raises;
    EXPECT_EQ(rig.refresh.refreshPreferences(), -1);
    EXPECT_EQ(rig.state.mServerBusyState, kPavoNotBusy);
}

} // namespace
