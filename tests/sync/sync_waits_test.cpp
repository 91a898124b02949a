#include <gtest/gtest.h>

#include "tests/sync/sync_rig.h"

namespace
{

using namespace roamer;
using sync_test::status;
using sync_test::SyncRig;

TEST(WaitTillSyncIdle, EndsByTheSetOrItsSilence)
{
    struct Case {
        const char* name;
        std::vector<std::pair<double, int>> states; ///< The first one is there from the start.
        double maxWait, ends;                       ///< Seconds, to within two slices.
    } const cases[] = {
        {"idle all along", {{0, 0}}, 30.0, 2.1},
        {"idle before the least time is over", {{0, 4}, {1.0, 0}}, 30.0, 2.1},
        {"silent too long", {{0, 4}}, 30.0, 32.2},
        {"talking, then silent", {{0, 4}, {25, 4}, {50, 5}}, 30.0, 80.1},
        {"not idle, and nothing to wait for", {{0, 4}}, 0.0, 2.1},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        SyncRig rig;
        auto& set = rig.addSet(status(c.states.front().second));
        for (const auto& [at, state] : c.states) {
            if (at > 0) set.script(rig.loop, {{at, status(state)}});
        }
        int heard = 0;
        set.setStatusCallback([&](const Dictionary&) { ++heard; });
        rig.runner.waitTillSyncIdle(rig.engine.set, 2.0, c.maxWait);
        EXPECT_NEAR(rig.seconds(), c.ends, 0.21);
        const int before = heard;
        set.report(status(0));
        EXPECT_EQ(heard, before + 1) << "whoever listened before listens again";
    }
}

Dictionary counts(int conflicts, int errors, bool uiRunning = true)
{
    return status(SyncSetStateIdle, {{platform::kSyncSetUnresolvedConflictsCountKey, conflicts},
                                     {platform::kSyncSetUnresolvedErrorsCountKey, errors},
                                     {platform::kSyncSetUIAppRunningKey, uiRunning}});
}

TEST(BothWaits, EndWithTheWindowsSessionTheEngineOrTheSet)
{
    for (const bool stopped : {true, false}) {
        for (const bool idle : {true, false}) {
            SyncRig rig;
            rig.addSet(idle ? status(SyncSetStateProcessing) : counts(3, 0));
            rig.showWindow(kLoginPrefSync);
            rig.loop.at(5.0, [&] { stopped ? rig.pressStop() : void(rig.engine.agentRunning = false); });
            if (idle) {
                rig.runner.waitTillSyncIdle(rig.engine.set, 2.0, 30.0);
            } else {
                EXPECT_TRUE(rig.runner.waitTillConflictsResolved(false, rig.engine.set, 60.0));
            }
            EXPECT_NEAR(rig.seconds(), 5.0, 1.01);
            EXPECT_FALSE(rig.engine.set->hasCallback());
        }
    }
    SyncRig noSet;
    EXPECT_TRUE(noSet.runner.waitTillConflictsResolved(false, nullptr, 60.0));
    noSet.runner.waitTillSyncIdle(nullptr, 2.0, 0.0);
    EXPECT_NEAR(noSet.seconds(), 2.1, 0.05);
}

TEST(WaitTillConflictsResolved, EndsWhenTheDialogsAreDone)
{
    struct Case {
        const char* name;
        Dictionary first;
        std::pair<double, Dictionary> later;
        bool conflictsOnly;
        double maxWait;
        bool result;
        double ends; ///< Seconds, to within two slices.
    } const cases[] = {
        {"nothing to settle", counts(0, 0), {}, false, 60.0, true, 0},
        {"errors count", counts(0, 3), {50, counts(0, 0)}, false, 60.0, true, 50},
        {"errors do not count", counts(0, 3), {50, counts(0, 0)}, true, 60.0, true, 0},
        {"the dialogs are closed", counts(3, 0), {20, counts(3, 0, false)}, false, 60.0, true, 20},
        {"nobody answers", counts(3, 0), {}, false, 60.0, false, 61},
        {"an answer starts the time anew", counts(3, 0), {50, counts(2, 0)}, false, 60.0, false, 111},
        {"no limit", counts(3, 0), {5000, counts(0, 0)}, false, 0.0, true, 5000},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        SyncRig rig;
        auto& set = rig.addSet(c.first);
        if (c.later.first > 0) set.script(rig.loop, {c.later});
        EXPECT_EQ(rig.runner.waitTillConflictsResolved(c.conflictsOnly, rig.engine.set, c.maxWait), c.result);
        EXPECT_NEAR(rig.seconds(), c.ends, 1.01);
    }
}

} // namespace
