#include "server/roamer_main.h"

#include <gmock/gmock.h>

#include "server_rig.h"
#include "tests/fakes/small_services.h"

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

const std::string kUnknownFlagX =
    "Roamer: unknown flag 'x'.\nUse \"-s\" to sync home now; \"-r\" to refresh Braid preferences based on current "
    "com.kestrel.roamer preferences.\n";

TEST(ParseArguments, ReadsEveryCharacterOfEveryFlag)
{
    using namespace roamer;
    struct Case {
        const char* name;
        std::vector<const char*> arguments;
        RunMode runMode;
        std::string complaints;
    } const cases[] = {
        {"no arguments: serve", {}, kRunModeStartup, ""},
        {"both arguments are read, the last wins", {"-s", "-r"}, kRunModeRefreshPreferences, ""},
        {"an unknown letter does not end the argument", {"-xs"}, kRunModeSyncNow, kUnknownFlagX},
        {"unknown letters only", {"-xx"}, kRunModeNone, kUnknownFlagX + kUnknownFlagX},
        {"a lone dash sets nothing and ends nothing", {"-", "-s"}, kRunModeSyncNow, ""},
        {"a word first: nothing after it counts", {"", "-s"}, kRunModeNone, ""},
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

TEST(RoamerMain, ServesUntilTheLoopEndsUnlessThereIsNoWork)
{
    MainRig rig;
    EXPECT_EQ(rig.run({"word"}), 1);
    EXPECT_THAT(rig.log.system, ElementsAre("Roamer: main ended.. no work to do"));
    EXPECT_FALSE(rig.servicesMade);
    rig.application.whileItRuns = [&] {
        EXPECT_TRUE(rig.messaging.published.contains("com.kestrel.roamer"));
        EXPECT_EQ(rig.application.delegate, roamer::gPavoServer.get());
    };
    EXPECT_EQ(rig.run({}), 0);
    EXPECT_EQ(rig.application.runs, 1);
    EXPECT_THAT(rig.trace.codes, ElementsAre(kEntered, kEntered, kEnded));
}

TEST(RoamerMain, HandsACommandToTheAgentThatServesOrDropsIt)
{
    for (const auto& [flag, message] : {std::pair("-s", "syncNow"), std::pair("-r", "refreshPreferences")}) {
        MainRig rig;
        OtherAgent other;
        rig.messaging.published["com.kestrel.roamer"] = &other;
        EXPECT_EQ(rig.run({flag}), 0);
        other.isGone = true;
        EXPECT_EQ(rig.run({flag}), 0);
        rig.messaging.lookUpRaises = true;
        EXPECT_EQ(rig.run({flag}), 0);
        EXPECT_THAT(other.received, ElementsAre(message));
        EXPECT_EQ(roamer::gPavoServer, nullptr);
        EXPECT_THAT(rig.flows.started, IsEmpty());
        EXPECT_EQ(rig.trace.codes.back(), kEnded);
    }
}

} // namespace
