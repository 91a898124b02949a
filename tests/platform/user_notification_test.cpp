#include <chrono>
#include <csignal>
#include <filesystem>
#include <memory>
#include <span>
#include <string>
#include <vector>

#include <gtest/gtest.h>
#include <sys/wait.h>

#include "platform/linux/alert_protocol.h"
#include "platform/linux/child_conversation.h"
#include "platform/linux/property_list_codec.h"
#include "platform/linux/user_notification.h"
#include "tests/fakes/recording_log.h"
#include "tests/fakes/temp_root.h"

namespace
{

std::string answerText(const std::string& flags)
{
    return "<plist version=\"1.0\"><dict><key>version</key><integer>1</integer><key>responseFlags</key>" + flags +
           "</dict></plist>";
}

/// Alerts that a script shows in place of the real program.
struct UserNotification : testing::Test {
    fakes::TempRoot root;
    fakes::RecordingLog log;
    std::unique_ptr<platform::PropertyListCodec> codec = platform::makePropertyListCodec();
    std::unique_ptr<platform::UserNotification> notification = platform::makeUserNotification(*codec);
    const platform::NotificationRequest request = twoButtons();

    static platform::NotificationRequest twoButtons()
    {
        platform::NotificationRequest made;
        made.header = "Title";
        made.message = "Line 1\nLine <2> & “more”";
        made.defaultButton = "OK";
        made.alternateButton = "Later";
        return made;
    }
    void install(const std::string& script)
    {
        const auto program = root.real(platform::kAlertProgramPath);
        fakes::TempRoot::writeFile(program, "#!/bin/sh\ncd '" + root.path().string() + "'\n" + script);
        std::filesystem::permissions(program, std::filesystem::perms::owner_all);
    }
    /// Takes the request, and answers with these bytes.
    void installAnswer(const std::string& answer)
    {
        fakes::TempRoot::writeFile(root.path() / "answer", answer);
        install("cat >request; cat answer");
    }
    static bool leftAZombie()
    {
        siginfo_t ended{};
        return ::waitid(P_ALL, 0, &ended, WEXITED | WNOHANG | WNOWAIT) == 0 && ended.si_pid != 0;
    }
};

} // namespace

TEST_F(UserNotification, RequestArrivesAndAnswerComesBack)
{
    const std::string icon = "/System/Library/Hearth/Custodia.app/Contents/Resources/mobility_64.tiff";
    auto full = request;
    full.otherButton = "Other";
    full.checkBox = "Do not ask again";
    full.iconPath = icon;
    full.flags = 258;
    installAnswer(answerText("<integer>258</integer>"));
    const auto response = notification->show(full);
    EXPECT_TRUE(response.succeeded);
    EXPECT_EQ(response.flags, 258U);

    const auto written = fakes::TempRoot::readFile(root.path() / "request");
    const auto parsed = codec->parse(std::as_bytes(std::span(written)));
    ASSERT_TRUE(std::holds_alternative<roamer::PropertyList>(parsed)) << written;
    const roamer::Dictionary expected{{"version", 1},
                                      {"header", "Title"},
                                      {"message", *request.message},
                                      {"defaultButton", "OK"},
                                      {"alternateButton", "Later"},
                                      {"otherButton", "Other"},
                                      {"checkBoxTitles", roamer::Array{"Do not ask again"}},
                                      {"iconPath", icon},
                                      {"flags", 258}};
    EXPECT_EQ(std::get<roamer::PropertyList>(parsed), roamer::PropertyList(expected));

    installAnswer(answerText("<integer>1</integer>"));
    EXPECT_EQ(notification->show(request).flags, 1U);
    EXPECT_EQ(fakes::TempRoot::readFile(root.path() / "request").find("otherButton"), std::string::npos);
    EXPECT_FALSE(leftAZombie());
}

TEST_F(UserNotification, AnythingButAnAnswerIsCancelledAndNeverTheDefault)
{
    const auto good = answerText("<integer>0</integer>");
    struct Case {
        const char* name;
        std::string script; ///< Empty: no program at all.
        std::string answer;
        const char* logged;
    };
    const Case cases[] = {
        {"not found", "", "", "No such file"},
        {"exits with failure", "cat >/dev/null; cat answer; exit 1", good, "exited with status 1"},
        {"killed", "cat >/dev/null; cat answer; kill -9 $$", good, "ended by signal 9"},
        {"says nothing", "cat >/dev/null", "", "unreadable answer"},
        {"garbage", "cat answer", "oops", "unreadable answer"},
        {"cut short", "cat answer", good.substr(0, good.size() - 15), "unreadable answer"},
        {"no dictionary", "cat answer", "<plist><integer>0</integer></plist>", "no dictionary"},
        {"no version", "cat answer", "<plist><dict><key>responseFlags</key><integer>0</integer></dict></plist>",
         "another version"},
        {"flags of another type", "cat answer", answerText("<string>0</string>"), "no response flags"},
        {"flags below 0", "cat answer", answerText("<integer>-4</integer>"), "no response flags"},
        {"flags of more than 32 bits", "cat answer", answerText("<integer>4294967296</integer>"), "no response flags"},
        {"a button that is not there", "cat answer", answerText("<integer>2</integer>"), "not offered"},
        {"endless", "exec yes", "", "too much"},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        fakes::TempRoot::writeFile(root.path() / "answer", c.answer);
        if (!c.script.empty()) install(c.script);
        const auto before = log.countContaining(c.logged);
        const auto response = notification->show(request);
        EXPECT_FALSE(response.succeeded);
        EXPECT_EQ(response.flags, 3U);
        EXPECT_EQ(log.countContaining(c.logged), before + 1) << log.lines.back().text;
        EXPECT_FALSE(leftAZombie());
    }
}

TEST_F(UserNotification, ClosedWithoutAChoiceIsAnAnswer)
{
    installAnswer(answerText("<integer>3</integer>"));
    const auto response = notification->show(request);
    EXPECT_TRUE(response.succeeded);
    EXPECT_EQ(response.flags, 3U);
}

TEST_F(UserNotification, AChildThatDoesNotListenRaisesNoSignal)
{
    // More than a pipe holds, so that writing goes on after the child has closed its end.
    auto large = request;
    large.message = std::string(1 << 20, 'x');
    fakes::TempRoot::writeFile(root.path() / "answer", answerText("<integer>1</integer>"));
    install("exec <&-; sleep 0.1; cat answer");
    EXPECT_EQ(notification->show(large).flags, 1U) << "an answer to a request half read still counts";
    install("exit 3");
    EXPECT_EQ(notification->show(large).flags, 3U);
    sigset_t pending;
    ASSERT_EQ(::sigpending(&pending), 0);
    EXPECT_EQ(sigismember(&pending, SIGPIPE), 0);
}

TEST_F(UserNotification, LargeTextsBothWaysDoNotBlock)
{
    const auto program = root.real("/echo");
    fakes::TempRoot::writeFile(program, "#!/bin/sh\nexec cat\n");
    std::filesystem::permissions(program, std::filesystem::perms::owner_all);
    const std::vector<std::byte> input(std::size_t{1} << 20, std::byte{7});
    const auto result = platform::converseWithChild(program.string(), input, input.size());
    EXPECT_EQ(result.problem, "");
    EXPECT_EQ(result.output, input);
}

TEST_F(UserNotification, WhatTheChildLeavesBehindIsNotWaitedFor)
{
    fakes::TempRoot::writeFile(root.path() / "answer", answerText("<integer>1</integer>"));
    install("cat >/dev/null; sleep 30 & echo $! >left; cat answer");
    const auto start = std::chrono::steady_clock::now();
    EXPECT_EQ(notification->show(request).flags, 1U);
    EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(20));
    ::kill(std::stoi(fakes::TempRoot::readFile(root.path() / "left")), SIGTERM);
}
