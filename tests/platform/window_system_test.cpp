#include <gtest/gtest.h>

#include "platform/linux/system_settings.h"
#include "platform/linux/window_system.h"
#include "tests/fakes/recording_log.h"

namespace
{

class SilentOwner final : public platform::LayoutOwner
{
public:
    void awakeFromNib() override { ADD_FAILURE() << "nothing was loaded"; }
    void cancel() override {}
    void cancelAll() override {}
    bool windowShouldClose() override { return false; }
};

} // namespace

TEST(WindowSystem, WithoutADisplayLayoutsFailAndSessionsGoOnUntilStopped)
{
    const auto windows = platform::makeWindowSystem();
    SilentOwner owner;
    EXPECT_EQ(windows->loadWindowLayout("PavoProgress", owner).window, nullptr);
    EXPECT_TRUE(windows->screenFrames().empty());
    EXPECT_FALSE(windows->isOptionKeyDown() || windows->isShiftKeyDown());

    windows->stopModalLoop(); // for no session
    const auto session = windows->beginModalSession(nullptr);
    EXPECT_TRUE(session->runStep());
    EXPECT_TRUE(session->runStep());
    windows->stopModalLoop();
    EXPECT_FALSE(session->runStep());
    EXPECT_TRUE(windows->beginModalSession(nullptr)->runStep());
}

TEST(SystemSettings, SaysThatThereIsNoProgramToBringUp)
{
    const fakes::RecordingLog log;
    EXPECT_FALSE(platform::makeSystemSettings()->revealSettingsAnchor("pane", "anchor"));
    EXPECT_EQ(log.countContaining("no settings program"), 1);
}
