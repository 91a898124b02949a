#include "server/pavod_vex.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "server_rig.h"

namespace
{

using testing::ElementsAre;
using testing::IsEmpty;

void failInFlow()
{
    throw platform::Failure("EngineGone", "nobody answers");
}

struct OneWayCase {
    const char* name;
    void (platform::Pavo_Server::*message)();
    const char* entryLine;
    const char* flow; ///< Null: none is started.
    bool flowSaysEnd;
    bool ends;
};

TEST(PavodVex, OneWayMessagesEndTheProcessOrGoOnServing)
{
    using Server = platform::Pavo_Server;
    const OneWayCase cases[] = {
        {"quit", &Server::pavo_quit, "Pavo Call- pavo_quit entering", nullptr, false, true},
        {"refresh always ends", &Server::pavo_refreshPreferences, "Pavo Call- refreshPreferences entering",
         "refreshPreferences", false, true},
        {"sync now that asks for it", &Server::pavo_syncNow, "Pavo Call- pavo_syncNow entering", "syncNow", true, true},
        {"sync now that was turned away", &Server::pavo_syncNow, "Pavo Call- pavo_syncNow entering", "syncNow", false,
         false},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        ServerRig rig;
        ASSERT_TRUE(rig.start());
        rig.application.delegate = roamer::gPavoServer.get();
        rig.flows.syncNowEndsProcess = c.flowSaysEnd;
        rig.flows.status = -1; // A refresh that was refused ends the process too.
        EXPECT_EQ(rig.endsProcess([&] { (*roamer::gPavoServer.*c.message)(); }), c.ends);
        EXPECT_TRUE(rig.log.has(2, c.entryLine));
        EXPECT_EQ(rig.flows.started, c.flow != nullptr ? std::vector<std::string>{c.flow} : std::vector<std::string>{});
        EXPECT_EQ(rig.application.stops, c.ends ? 1 : 0);
        EXPECT_EQ(rig.log.has(2, "Pavo_StopPavo - retain count is 1"), c.ends);
        EXPECT_EQ(rig.log.has(2, "Pavo.applicationShouldTerminate"), c.ends);
        EXPECT_EQ(rig.log.has(2, "Pavo.applicationWillTerminate"), c.ends);
    }
}

TEST(PavodVex, AFailureInAOneWayFlowIsLoggedAndTheProcessGoesOnServing)
{
    using Server = platform::Pavo_Server;
    for (const auto& [message, name] : {std::pair(&Server::pavo_syncNow, "pavo_syncNow"),
                                        std::pair(&Server::pavo_refreshPreferences, "pavo_refreshPreferences")}) {
        SCOPED_TRACE(name);
        ServerRig rig;
        ASSERT_TRUE(rig.start());
        rig.flows.syncNowEndsProcess = true;
        rig.flows.whileRunning = failInFlow;
        EXPECT_FALSE(rig.endsProcess([&] { (*roamer::gPavoServer.*message)(); }));
        EXPECT_TRUE(
            rig.log.has(1, std::string(name) + " caught exception name=\"EngineGone\", reason=\"nobody answers\""));
        EXPECT_TRUE(rig.messaging.published.contains("com.kestrel.roamer"));
    }
}

TEST(PavodVex, ChecksAnswerTheirCallerWhateverHappens)
{
    using Check = std::int32_t (platform::Pavo_Server::*)(bool, bool*);
    struct Row {
        Check check;
        const char* name;
        const char* flow;
    };
    for (const auto& [check, name, flow] :
         {Row{&platform::Pavo_Server::pavo_doLoginChecks, "pavo_doLoginChecks", "login"},
          Row{&platform::Pavo_Server::pavo_doLogoutChecks, "pavo_doLogoutChecks", "logout"}}) {
        SCOPED_TRACE(name);
        ServerRig rig;
        ASSERT_TRUE(rig.start());
        auto& server = *roamer::gPavoServer;
        bool completed = false;
        rig.flows.status = -61;
        EXPECT_EQ((server.*check)(true, &completed), -61);
        EXPECT_TRUE(completed);
        EXPECT_TRUE(rig.flows.firstTimeSync);
        EXPECT_TRUE(rig.log.has(2, std::string("Pavo Call- ") + name + " entering"));
        EXPECT_EQ((server.*check)(false, nullptr), -61);
        EXPECT_FALSE(rig.flows.firstTimeSync);

        rig.flows.whileRunning = failInFlow; // after the flow has set the flag
        EXPECT_EQ((server.*check)(false, &completed), -1);
        EXPECT_FALSE(completed);
        EXPECT_EQ((server.*check)(false, nullptr), -1);
        EXPECT_TRUE(
            rig.log.has(1, std::string(name) + " caught exception name=\"EngineGone\", reason=\"nobody answers\""));
        EXPECT_THAT(rig.flows.started, ElementsAre(flow, flow, flow, flow));
    }
}

TEST(PavodVex, WhatIsNoFailurePassesThrough)
{
    ServerRig rig;
    ASSERT_TRUE(rig.start());
    rig.flows.whileRunning = [] { throw std::logic_error("a bug"); };
    EXPECT_THROW(roamer::gPavoServer->pavo_syncNow(), std::logic_error);
    EXPECT_THROW(roamer::gPavoServer->pavo_doLoginChecks(false, nullptr), std::logic_error);
    EXPECT_EQ(rig.log.countContaining("caught exception"), 0);
}

TEST(PavodVex, LoadsTheTextsOfThePreferredLanguage)
{
    ServerRig rig;
    ASSERT_TRUE(rig.start());
    EXPECT_EQ(roamer::gPavoServer->sharedState().mLocalizedStringsDict,
              (std::map<std::string, std::string>{{"PAVO_OK", "OK"}}));
    EXPECT_EQ(&roamer::gPavoServer->sharedState(), rig.flows.state);
    EXPECT_TRUE(rig.log.has(2, "Pavo.init: mServerBusyState = kPavoNotBusy;"));
    EXPECT_EQ(roamer::gPavoServer->sharedState().mServerBusyState, roamer::kPavoNotBusy);
}

TEST(PavodVex, ServesWithoutItsBundle)
{
    ServerRig rig;
    rig.bundles.bundles.clear();
    testing::internal::CaptureStdout();
    EXPECT_TRUE(rig.start());
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "Roamer bundle not found\n");
    EXPECT_THAT(rig.log.system, ElementsAre("Roamer bundle not found"));
    EXPECT_THAT(roamer::gPavoServer->sharedState().mLocalizedStringsDict, IsEmpty());
    EXPECT_TRUE(rig.messaging.published.contains("com.kestrel.roamer"));
}

TEST(PavodVex, IsPublishedOnceAndUnderItsNameOnly)
{
    ServerRig rig;
    ASSERT_TRUE(rig.start());
    EXPECT_FALSE(roamer::gPavoServer->createConnection()) << "it is published already";
    EXPECT_EQ(rig.log.countContaining("Unable"), 0);
    roamer::gPavoServer->setConnection(nullptr);
    EXPECT_THAT(rig.messaging.published, IsEmpty());
}

struct StartCase {
    const char* name;
    void (*spoil)(ServerRig&);
    const char* line; ///< At level 1; null for none.
    const char* reported;
};

TEST(StartPavo, SaysWhyItCannot)
{
    static OtherAgent other;
    const StartCase cases[] = {
        {"no flows", [](ServerRig& rig) { rig.flowsCanBeMade = false; }, nullptr,
         "Roamer- Unable to create the Roamer object"},
        {"no bus", [](ServerRig& rig) { rig.messaging.hasBus = false; }, "Pavo- Unable to get the default connection",
         "Roamer- Unable to create the Roamer connection"},
        {"the name is taken", [](ServerRig& rig) { rig.messaging.published["com.kestrel.roamer"] = &other; },
         "Pavo- Unable to register server", "Roamer- Unable to create the Roamer connection"},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        ServerRig rig;
        c.spoil(rig);
        EXPECT_FALSE(rig.start());
        EXPECT_EQ(roamer::gPavoServer, nullptr);
        EXPECT_THAT(rig.log.system, ElementsAre(c.reported));
        EXPECT_TRUE(c.line == nullptr || rig.log.has(1, c.line));
    }
}

TEST(StartPavo, RefusesASecondServerAndKeepsTheFirst)
{
    ServerRig rig;
    ASSERT_TRUE(rig.start(false));
    EXPECT_THAT(rig.messaging.published, IsEmpty()) << "started without a connection";
    const auto* first = roamer::gPavoServer.get();
    EXPECT_FALSE(rig.start());
    EXPECT_EQ(roamer::gPavoServer.get(), first);
    EXPECT_THAT(rig.log.system, ElementsAre("Roamer- server trying to run again"));
}

TEST(StopPavo, LetsTheServerGoWhenTheApplicationRefusesToEnd)
{
    ServerRig rig;
    roamer::Pavo_StopPavo();
    EXPECT_EQ(rig.application.stops, 0) << "there is nothing to stop";

    ASSERT_TRUE(rig.start());
    rig.application.terminateReturns = true;
    roamer::gPavoServer->pavo_quit();
    EXPECT_EQ(roamer::gPavoServer, nullptr);
    EXPECT_THAT(rig.messaging.published, IsEmpty());
    EXPECT_TRUE(rig.log.has(2, "Pavo Call- dealloc"));
}

} // namespace
