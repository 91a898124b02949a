#include "server/pavod_vex.h"

#include <gmock/gmock.h>

#include "server_rig.h"

namespace
{

using testing::ElementsAre;
using testing::IsEmpty;

void failInFlow()
{
    throw platform::Failure("EngineGone", "nobody answers");
}

using Server = platform::Pavo_Server;

TEST(PavodVex, OneWayMessagesEndTheProcessOrGoOnServing)
{
    struct Case {
        const char* name;
        void (Server::*message)();
        std::vector<std::string> flows;
        bool flowSaysEnd, fails, ends;
    } const cases[] = {
        {"quit", &Server::pavo_quit, {}, false, false, true},
        {"refresh always ends", &Server::pavo_refreshPreferences, {"refreshPreferences"}, false, false, true},
        {"sync now that asks for it", &Server::pavo_syncNow, {"syncNow"}, true, false, true},
        {"sync now that was turned away", &Server::pavo_syncNow, {"syncNow"}, false, false, false},
        {"sync now that fails", &Server::pavo_syncNow, {"syncNow"}, true, true, false},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        ServerRig rig;
        ASSERT_TRUE(rig.start());
        rig.application.delegate = roamer::gPavoServer.get();
        rig.flows.syncNowEndsProcess = c.flowSaysEnd;
        rig.flows.status = -1; // A refresh that was refused ends the process too.
        if (c.fails) rig.flows.whileRunning = failInFlow;
        EXPECT_EQ(rig.endsProcess([&] { (*roamer::gPavoServer.*c.message)(); }), c.ends);
        EXPECT_EQ(rig.flows.started, c.flows);
        EXPECT_EQ(rig.application.stops, c.ends ? 1 : 0);
        EXPECT_EQ(rig.log.countContaining("Pavo.applicationWillTerminate"), c.ends);
        EXPECT_EQ(rig.log.countContaining("caught exception name=\"EngineGone\", reason=\"nobody answers\""), c.fails);
        EXPECT_TRUE(c.ends || rig.messaging.published.contains("com.kestrel.roamer"));
    }
}

TEST(PavodVex, ChecksAnswerTheirCallerWhateverHappens)
{
    for (const auto& [check, flow] :
         {std::pair(&Server::pavo_doLoginChecks, "login"), std::pair(&Server::pavo_doLogoutChecks, "logout")}) {
        SCOPED_TRACE(flow);
        ServerRig rig;
        ASSERT_TRUE(rig.start());
        auto& server = *roamer::gPavoServer;
        bool completed = false;
        rig.flows.status = -61;
        EXPECT_EQ((server.*check)(true, &completed), -61);
        EXPECT_TRUE(completed);
        EXPECT_TRUE(rig.flows.firstTimeSync);
        EXPECT_EQ((server.*check)(false, nullptr), -61);
        EXPECT_FALSE(rig.flows.firstTimeSync);

        rig.flows.whileRunning = failInFlow; // after the flow has set the flag
        EXPECT_EQ((server.*check)(false, &completed), -1);
        EXPECT_FALSE(completed);
        rig.flows.whileRunning = [] { throw std::logic_error("a bug"); };
        EXPECT_THROW((server.*check)(false, nullptr), std::logic_error);
        EXPECT_THAT(rig.flows.started, ElementsAre(flow, flow, flow, flow));
    }
}

TEST(PavodVex, AnEndInsideAFlowComesAfterItsAnswer)
{
    struct Case {
        const char* name;
        void (Server::*nested)();
        bool waitsEnd;
    } const cases[] = {
        {"quit", &Server::pavo_quit, true},
        {"refresh", &Server::pavo_refreshPreferences, true},
        {"a sync now that may end the process", &Server::pavo_syncNow, false},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        ServerRig rig;
        ASSERT_TRUE(rig.start());
        auto& server = *roamer::gPavoServer;
        rig.flows.syncNowEndsProcess = true;
        rig.flows.status = -128;
        rig.flows.whileRunning = [&] {
            if (rig.flows.started.size() == 1) (server.*c.nested)();
        };
        std::int32_t status = 0;
        EXPECT_FALSE(rig.endsProcess([&] { status = server.pavo_doLoginChecks(false, nullptr); }));
        EXPECT_EQ(status, -128);
        EXPECT_EQ(rig.loop.waitsShallEnd(), c.waitsEnd);
        EXPECT_TRUE(rig.endsProcess([&] { rig.loop.runForSeconds(0.1); }));
    }

    ServerRig rig;
    ASSERT_TRUE(rig.start());
    rig.flows.whileRunning = [] {
        roamer::gPavoServer->pavo_quit();
        failInFlow();
    };
    EXPECT_TRUE(rig.endsProcess([] { roamer::gPavoServer->pavo_syncNow(); })) << "also when the flow fails";
}

TEST(StartPavo, NeedsFlowsABusAndItsNameButNoBundle)
{
    ServerRig rig;
    rig.flowsCanBeMade = false;
    EXPECT_FALSE(rig.start());
    rig.flowsCanBeMade = true;
    rig.messaging.hasBus = false;
    EXPECT_FALSE(rig.start());
    rig.messaging.hasBus = true;
    OtherAgent other;
    rig.messaging.published["com.kestrel.roamer"] = &other;
    EXPECT_FALSE(rig.start());
    EXPECT_EQ(roamer::gPavoServer, nullptr);
    rig.messaging.published.clear();
    rig.bundles.bundles.clear();
    EXPECT_TRUE(rig.start());
    const auto* first = roamer::gPavoServer.get();
    EXPECT_FALSE(rig.start());
    EXPECT_EQ(roamer::gPavoServer.get(), first) << "a second server is none";
}

} // namespace
