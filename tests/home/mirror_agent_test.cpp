#include "home/mirror_agent.h"

#include <gmock/gmock.h>

#include "tests/fakes/fake_process_launcher.h"
#include "tests/fakes/fake_sync_engine.h"
#include "tests/fakes/recording_log.h"
#include "tests/fakes/small_services.h"

namespace
{

using testing::ElementsAre;
using testing::EndsWith;
using testing::IsEmpty;
using testing::SizeIs;

struct Rig {
    fakes::RecordingLog log;
    fakes::FakeRunLoop loop;
    fakes::FakeEffectiveUser user;
    fakes::FakeSyncManager engine;
    fakes::FakeProcessLauncher launcher;
    roamer::MirrorAgent agent{launcher, user, engine, loop};

    /// The engine ends this long after it was asked to.
    void endAfter(double seconds)
    {
        launcher.onTerminate = [this, seconds](int pid) {
            loop.at(seconds, [this, pid] { launcher.running.erase(pid); });
        };
    }
};

TEST(MirrorAgent, LaunchesAsTheUserAndReportsWhatFails)
{
    Rig own;
    own.user.real = 501;
    EXPECT_GT(own.agent.launchMirrorAgentAsUser("jo", 501, 20), 0);
    EXPECT_THAT(own.launcher.launched, ElementsAre(EndsWith("/BraidAgent -uid 501")));
    EXPECT_TRUE(own.engine.startsAreHeld()) << "no other engine comes in its way";

    Rig root;
    root.user.real = 0;
    EXPECT_GT(root.agent.launchMirrorAgentAsUser("jo", 501, 20), 0);
    EXPECT_THAT(root.launcher.launched.at(0), testing::StartsWith("jo(501,20) /System/"));

    for (auto* rig : {&own, &root}) {
        rig->launcher.running.clear();
        rig->launcher.canLaunch = false;
        const int pid = rig->agent.launchMirrorAgentAsUser("jo", 501, 20);
        EXPECT_EQ(pid, rig == &own ? 0 : -1);
        EXPECT_FALSE(rig->engine.startsAreHeld());
        rig->agent.killMirrorAgent(pid);
        EXPECT_EQ(rig->loop.elapsedSeconds(), 0) << "an engine that others started is none of its business";
    }
    EXPECT_EQ(root.log.countContaining("failed to launch file sync agent"), 1) << "the later log takes all lines";
    EXPECT_EQ(root.log.countContaining("Could not fork task for launch"), 1);
}

TEST(MirrorAgent, IsWaitedForWhileTheRunLoopServes)
{
    Rig rig;
    rig.endAfter(7.0);
    const int pid = rig.agent.launchMirrorAgentAsUser("jo", rig.user.real, 20);
    EXPECT_EQ(rig.agent.launchMirrorAgentAsUser("jo", rig.user.real, 20), pid) << "one inside another shares it";
    rig.agent.killMirrorAgent(pid);
    EXPECT_THAT(rig.launcher.terminated, IsEmpty());

    rig.loop.at(3.0, [&] {
        EXPECT_TRUE(rig.engine.startsAreHeld());
        EXPECT_EQ(rig.engine.expectedPid, pid);
        rig.launcher.onTerminate = {};
        const int next = rig.agent.launchMirrorAgentAsUser("jo", rig.user.real, 20);
        EXPECT_NE(next, pid) << "not one that is on its way out";
        rig.agent.killMirrorAgent(next);
    });
    rig.agent.killMirrorAgent(pid);
    EXPECT_NEAR(rig.loop.elapsedSeconds(), 7.0, 0.11);
    EXPECT_FALSE(rig.engine.startsAreHeld());
    EXPECT_EQ(rig.engine.expectedPid, 0);

    rig.endAfter(1000.0);
    const int stuck = rig.agent.launchMirrorAgentAsUser("jo", rig.user.real, 20);
    rig.loop.endWaits();
    rig.agent.killMirrorAgent(stuck);
    EXPECT_NEAR(rig.loop.elapsedSeconds(), 12.0, 0.3) << "not when the process itself is to end";
}

} // namespace
