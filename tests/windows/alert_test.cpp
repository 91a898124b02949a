#include <csignal>

#include "windows_rig.h"

namespace
{

/// Alerts that the real program shows and a person answers.
class Alert : public tests::WindowsRig
{
protected:
    Alert()
    {
        request.header = "Which version do you want to keep?";
        request.message = "Both were changed.\nIf you are not sure, sync later.";
        request.defaultButton = "Keep This";
        request.alternateButton = "Later";
        request.otherButton = "Compare & Keep";
        request.iconPath = "/System/Library/Hearth/Custodia.app/Contents/Resources/mobility_64.tiff";
    }
    platform::NotificationRequest request;
    std::unique_ptr<platform::UserNotification> notification = platform::makeUserNotification(*codec);
};

TEST_F(Alert, IsAnsweredEachWay)
{
    const struct {
        const char *name, *acts;
        bool box, boxStartsChecked;
        std::uint32_t flags;
    } cases[] = {
        {"default button", "default", false, false, 0},
        {"alternate button", "alternate", false, false, 1},
        {"other button", "other", false, false, 2},
        {"closed", "close", false, false, 3},
        {"Esc", "escape", false, false, 3},
        {"Return is the default button", "return", false, false, 0},
        {"Alt with a button's letter", "alt+c", false, false, 2},
        {"the checkbox", "checkBox0 default", true, false, 0x100},
        {"a checkbox that starts checked", "alternate", true, true, 0x101},
        {"and is unchecked", "checkBox0 close", true, true, 3},
    };
    for (const auto& c : cases) {
        act(c.acts);
        request.checkBox = c.box ? std::optional<std::string>("Do not ask again") : std::nullopt;
        request.flags = c.boxStartsChecked ? 258 : 2;
        const auto response = notification->show(request);
        EXPECT_TRUE(response.succeeded) << c.name;
        EXPECT_EQ(response.flags, c.flags) << c.name;
    }
}

TEST_F(Alert, ThatCannotBeShownIsAFailedCallAndNeverTheDefault)
{
    act("default");
    const fakes::TempEnvironment refusing{{"QT_QPA_PLATFORM", "xcb"}, {"DISPLAY", ":987"}};
    const auto response = notification->show(request);
    EXPECT_TRUE(!response.succeeded && response.flags == 3U);
    EXPECT_EQ(log.countContaining("exited with status 1"), 1);
}

TEST_F(Alert, GoesWhenTheOneWhoAskedIsGone)
{
    act("");
    const auto program = root.real(platform::kAlertProgramPath).string();
    const auto plist = "<plist version=\"1.0\"><dict><key>version</key><integer>1</integer></dict></plist>";
    EXPECT_EQ(std::system(("echo '" + std::string(plist) + "' | '" + program + "' | true").c_str()), 0);
    EXPECT_TRUE(waitFor([this] { return ::kill(windowPid(), 0) != 0; }));
}

} // namespace
