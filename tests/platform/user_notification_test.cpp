#include <gtest/gtest.h>
#include <sys/wait.h>

#include "platform/linux/alert_protocol.h"
#include "platform/linux/property_list_codec.h"
#include "platform/linux/user_notification.h"
#include "property_list_bytes.h"
#include "tests/fakes/recording_log.h"
#include "tests/fakes/temp_root.h"

namespace
{

using fakes::TempRoot;

std::string answerText(const std::string& flags)
{
    return "<plist version=\"1.0\"><dict><key>version</key><integer>1</integer><key>responseFlags</key>" + flags +
           "</dict></plist>";
}

/// Alerts that a script shows in place of the real program; "answer" lies beside it.
class UserNotification : public testing::Test
{
protected:
    platform::UserNotification::Response show(const std::string& script, const std::string& answer)
    {
        const auto program = root.real(platform::kAlertProgramPath);
        TempRoot::writeFile(root.path() / "answer", answer);
        TempRoot::writeFile(program, "#!/bin/sh\ncd '" + root.path().string() + "'\n" + script);
        std::filesystem::permissions(program, std::filesystem::perms::owner_all);
        return notification->show(request);
    }
    static platform::NotificationRequest twoButtons()
    {
        platform::NotificationRequest made;
        made.header = "Title";
        made.message = "Line 1\nLine <2> & “more”";
        made.defaultButton = "OK";
        made.alternateButton = "Later";
        return made;
    }
    static bool leftAZombie()
    {
        siginfo_t ended{};
        return ::waitid(P_ALL, 0, &ended, WEXITED | WNOHANG | WNOWAIT) == 0 && ended.si_pid != 0;
    }

    TempRoot root;
    fakes::RecordingLog log;
    std::unique_ptr<platform::PropertyListCodec> codec = platform::makePropertyListCodec();
    std::unique_ptr<platform::UserNotification> notification = platform::makeUserNotification(*codec);
    platform::NotificationRequest request = twoButtons();
};

TEST_F(UserNotification, RequestArrivesAndAnswerComesBack)
{
    request.otherButton = "Other";
    request.checkBox = "Do not ask again";
    request.iconPath = "/icon.tiff";
    request.flags = 258;
    const auto response = show("cat >request; cat answer", answerText("<integer>258</integer>"));
    EXPECT_TRUE(response.succeeded);
    EXPECT_EQ(response.flags, 258U);
    const auto written = TempRoot::readFile(root.path() / "request");
    const roamer::Dictionary expected{{"version", 1},
                                      {"header", "Title"},
                                      {"message", *request.message},
                                      {"defaultButton", "OK"},
                                      {"alternateButton", "Later"},
                                      {"otherButton", "Other"},
                                      {"checkBoxTitles", roamer::Array{"Do not ask again"}},
                                      {"iconPath", "/icon.tiff"},
                                      {"flags", 258}};
    EXPECT_EQ(std::get<roamer::PropertyList>(codec->parse(tests::asBytes(written))), roamer::PropertyList(expected));
    EXPECT_FALSE(leftAZombie());
}

TEST_F(UserNotification, AnythingButAnAnswerIsCancelledAndNeverTheDefault)
{
    EXPECT_EQ(notification->show(request).flags, 3U) << "no program at all";
    EXPECT_EQ(log.countContaining("No such file"), 1);
    const auto good = answerText("<integer>0</integer>");
    const struct {
        const char *name, *script;
        std::string answer;
        const char* logged;
    } cases[] = {
        {"exits with failure", "cat >/dev/null; cat answer; exit 1", good, "exited with status 1"},
        {"killed", "cat >/dev/null; cat answer; kill -9 $$", good, "ended by signal 9"},
        {"cut short", "cat answer", good.substr(0, good.size() - 15), "unreadable answer"},
        {"no version", "cat answer", "<plist><dict><key>responseFlags</key><integer>0</integer></dict></plist>",
         "another version"},
        {"flags of more than 32 bits", "cat answer", answerText("<integer>4294967296</integer>"), "no response flags"},
        {"a button that is not there", "cat answer", answerText("<integer>2</integer>"), "not offered"},
        {"endless", "exec yes", "", "too much"},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        log.lines.clear();
        const auto response = show(c.script, c.answer);
        EXPECT_FALSE(response.succeeded);
        EXPECT_EQ(response.flags, 3U);
        EXPECT_EQ(log.countContaining(c.logged), 1);
        EXPECT_FALSE(leftAZombie());
    }
}

} // namespace
