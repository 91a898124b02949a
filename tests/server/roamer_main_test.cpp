#include "server/roamer_main.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "server_rig.h"
#include "tests/fakes/fake_event_trace.h"

namespace
{

using testing::ElementsAre;
using testing::IsEmpty;

constexpr std::uint32_t kEntered = 0x21090000;
constexpr std::uint32_t kEnded = 0x21090004;

struct MainRig : ServerRig {
    fakes::FakeEventTrace trace;
    bool servicesMade = false;

    int run(std::vector<const char*> arguments)
    {
        arguments.insert(arguments.begin(), "roamer");
        return roamer::roamerMain(static_cast<int>(arguments.size()), arguments.data(),
                                  {trace, [] {},
                                   [this] {
                                       servicesMade = true;
                                       return services();
                                   },
                                   flowsFactory()});
    }
};

std::string unknownFlag(char flag)
{
    return std::string("Roamer: unknown flag '") + flag +
           "'.\nUse \"-s\" to sync home now; \"-r\" to refresh Braid preferences based on current com.kestrel.roamer "
           "preferences.\n";
}

struct ArgumentCase {
    const char* name;
    std::vector<const char*> arguments;
    roamer::RunMode runMode;
    std::string complaints;
};

TEST(ParseArguments, ReadsEveryCharacterOfEveryFlag)
{
    using namespace roamer;
    const ArgumentCase cases[] = {
        {"no arguments: serve", {}, kRunModeStartup, ""},
        {"sync now", {"-s"}, kRunModeSyncNow, ""},
        {"capital letters too", {"-S"}, kRunModeSyncNow, ""},
        {"refresh", {"-R"}, kRunModeRefreshPreferences, ""},
        {"both arguments are read, the last wins", {"-s", "-r"}, kRunModeRefreshPreferences, ""},
        {"both letters of one argument are read, the last wins", {"-rs"}, kRunModeSyncNow, ""},
        {"an unknown letter does not end the argument", {"-xs"}, kRunModeSyncNow, unknownFlag('x')},
        {"nor undo what was read", {"-sx"}, kRunModeSyncNow, unknownFlag('x')},
        {"a second dash is a flag like others", {"--r"}, kRunModeRefreshPreferences, unknownFlag('-')},
        {"unknown letters only", {"-xy"}, kRunModeNone, unknownFlag('x') + unknownFlag('y')},
        {"a lone dash sets nothing and ends nothing", {"-", "-s"}, kRunModeSyncNow, ""},
        {"a word first: nothing after it counts", {"word", "-s"}, kRunModeNone, ""},
        {"an empty argument is a word", {"", "-s"}, kRunModeNone, ""},
        {"a word behind a flag", {"-r", "word", "-s"}, kRunModeRefreshPreferences, ""},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        auto arguments = c.arguments;
        arguments.insert(arguments.begin(), "roamer");
        testing::internal::CaptureStderr();
        const auto request = parseArguments(static_cast<int>(arguments.size()), arguments.data());
        EXPECT_EQ(testing::internal::GetCapturedStderr(), c.complaints);
        EXPECT_EQ(request.runMode, c.runMode);
        EXPECT_EQ(request.hasWork, c.runMode != kRunModeNone);
    }
}

TEST(RoamerMain, WithoutWorkItSaysSoAndTouchesNothing)
{
    MainRig rig;
    testing::internal::CaptureStdout();
    EXPECT_EQ(rig.run({"word"}), 1);
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "Roamer: main ended.. no work to do\n");
    EXPECT_TRUE(rig.log.has(0, "Roamer: main ended.. no work to do"));
    EXPECT_THAT(rig.log.system, ElementsAre("Roamer: main ended.. no work to do"));
    EXPECT_FALSE(rig.servicesMade);
    EXPECT_THAT(rig.trace.codes, ElementsAre(kEntered));
}

TEST(RoamerMain, ServesUntilTheLoopEnds)
{
    MainRig rig;
    rig.application.whileItRuns = [&] {
        EXPECT_TRUE(rig.messaging.published.contains("com.kestrel.roamer"));
        EXPECT_EQ(rig.application.delegate, roamer::gPavoServer.get());
        EXPECT_TRUE(rig.log.has(2, "Roamer: runloop entering"));
        EXPECT_FALSE(rig.log.has(2, "Roamer: runloop ended - all ok. exiting"));
    };
    EXPECT_EQ(rig.run({}), 0);
    EXPECT_EQ(rig.application.runs, 1);
    EXPECT_TRUE(rig.log.has(2, "Roamer: No parameters specified.  Defaulting to startup."));
    EXPECT_TRUE(rig.log.has(2, "Roamer: runloop ended - all ok. exiting"));
    EXPECT_THAT(rig.flows.started, IsEmpty());
    EXPECT_THAT(rig.messaging.lookedUp, IsEmpty());
    EXPECT_THAT(rig.trace.codes, ElementsAre(kEntered, kEnded));
}

TEST(RoamerMain, HandsACommandToTheAgentThatServes)
{
    for (const auto& [flag, message] : {std::pair("-s", "syncNow"), std::pair("-r", "refreshPreferences")}) {
        MainRig rig;
        OtherAgent other;
        rig.messaging.published["com.kestrel.roamer"] = &other;
        EXPECT_EQ(rig.run({flag}), 0);
        EXPECT_THAT(other.received, ElementsAre(message));
        EXPECT_EQ(roamer::gPavoServer, nullptr);
        EXPECT_THAT(rig.flows.started, IsEmpty());
        EXPECT_THAT(rig.trace.codes, ElementsAre(kEntered, kEnded));
    }
}

TEST(RoamerMain, DropsTheCommandWhenHandingOverFails)
{
    MainRig rig;
    OtherAgent other;
    rig.messaging.published["com.kestrel.roamer"] = &other;
    other.isGone = true;
    EXPECT_EQ(rig.run({"-s"}), 0);
    EXPECT_TRUE(rig.log.has(1, "Roamer: caught exception: name=\"MessageNotSent\", reason=\"it has just ended\""));
    rig.messaging.lookUpRaises = true;
    EXPECT_EQ(rig.run({"-r"}), 0);
    EXPECT_EQ(roamer::gPavoServer, nullptr);
    EXPECT_THAT(rig.flows.started, IsEmpty());
}

TEST(RoamerMain, CarriesACommandOutItselfWhereNobodyServes)
{
    MainRig rig;
    rig.flows.whileRunning = [&] {
        // Others that start meanwhile find this process.
        EXPECT_TRUE(rig.messaging.published.contains("com.kestrel.roamer"));
        EXPECT_EQ(rig.application.runs, 0);
    };
    EXPECT_EQ(rig.run({"-s"}), 0) << "the flow did not ask for the end";
    EXPECT_THAT(rig.flows.started, ElementsAre("syncNow"));
    EXPECT_TRUE(rig.log.has(2, "Roamer: runloop ended - all ok. exiting"));
    EXPECT_THAT(rig.trace.codes, ElementsAre(kEntered, kEnded));

    MainRig refresh;
    roamer::gPavoServer.reset();
    EXPECT_TRUE(refresh.endsProcess([&] { refresh.run({"-r"}); })) << "a refresh always ends inside";
    EXPECT_THAT(refresh.flows.started, ElementsAre("refreshPreferences"));
    EXPECT_THAT(refresh.trace.codes, ElementsAre(kEntered));
}

TEST(RoamerMain, EndsWithZeroWhenItCannotServe)
{
    MainRig rig;
    OtherAgent other;
    rig.messaging.published["com.kestrel.roamer"] = &other;
    EXPECT_EQ(rig.run({}), 0);
    EXPECT_EQ(rig.application.runs, 0);
    EXPECT_THAT(rig.log.system, ElementsAre("Roamer- Unable to create the Roamer connection"));
    EXPECT_FALSE(rig.log.has(2, "Roamer: runloop entering"));
    EXPECT_THAT(rig.trace.codes, ElementsAre(kEntered, kEnded));
}

} // namespace
