// Sleep and its prevention, against a login manager of the test's own.

#include "platform/linux/power_service.h"

#include <gtest/gtest.h>

#include "platform/linux/application.h"
#include "platform/linux/run_loop.h"
#include "tests/fakes/mock_login_manager.h"
#include "tests/fakes/private_bus.h"
#include "tests/fakes/recording_log.h"
#include "util/vex_power_manager.h"

namespace
{

using namespace std::chrono_literals;

class PowerTest : public testing::Test
{
protected:
    PowerTest() { ::setenv("DBUS_SYSTEM_BUS_ADDRESS", std::getenv("DBUS_SESSION_BUS_ADDRESS"), 1); }

    /// How many locks of the mode are held once messages and closed descriptors have arrived.
    std::size_t held(const std::string& mode, std::size_t expected)
    {
        for (int look = 0; look < 100 && login->held(mode).size() != expected; ++look)
            loop->runFor(10ms);
        return login->held(mode).size();
    }

    fakes::PrivateBus bus;
    fakes::RecordingLog log;
    std::unique_ptr<platform::Application> application = platform::makeApplication();
    std::unique_ptr<platform::RunLoop> loop = platform::makeRunLoop();
    std::unique_ptr<fakes::MockLoginManager> login =
        std::make_unique<fakes::MockLoginManager>(QString::fromLocal8Bit(std::getenv("DBUS_SESSION_BUS_ADDRESS")));
    std::unique_ptr<platform::PowerService> service = platform::makePowerService();
    roamer::VEXPowerManager power{*service};
};

TEST_F(PowerTest, SleepIsForbiddenInWordsWhileAPassWantsIt)
{
    EXPECT_EQ(held("block", 0) + held("delay", 0), 0U) << "no pass has asked for anything";
    for (int pass = 0; pass < 2; ++pass) {
        power.preventSystemSleep();
        ASSERT_EQ(held("block", 1), 1U);
        const auto lock = login->held("block").front();
        EXPECT_EQ(lock.what, "sleep");
        EXPECT_EQ(lock.who, "Roamer");
        EXPECT_EQ(lock.why, "The home folder is being synced");
        power.allowSystemSleep();
        EXPECT_EQ(held("block", 0), 0U);
        EXPECT_EQ(held("delay", 1), 1U) << "the notice must be heard in time";
    }
    service.reset();
    EXPECT_EQ(held("delay", 0), 0U);
}

TEST_F(PowerTest, TheNoticeOfASleepIsAnswered)
{
    power.preventSystemSleep();
    power.allowSystemSleep();
    login->prepareForSleep(true);
    EXPECT_EQ(held("delay", 0), 0U) << "nothing runs: the machine may sleep at once";
    login->prepareForSleep(false);
    EXPECT_EQ(held("delay", 1), 1U) << "awake again, ready for the next notice";

    power.preventSystemSleep();
    login->prepareForSleep(true);
    loop->runFor(100ms);
    EXPECT_EQ(held("delay", 1), 1U) << "a sleep that is forced on a pass waits as long as it can be made to";
    power.allowSystemSleep();
    EXPECT_EQ(held("delay", 0), 0U) << "the pass is over, the sleep that was announced may come";
}

TEST_F(PowerTest, WhereSleepCannotBeForbiddenThePassGoesOnAndSaysSoOnce)
{
    const auto twoPasses = [](roamer::VEXPowerManager& manager) {
        for (int pass = 0; pass < 2; ++pass) {
            manager.preventSystemSleep();
            manager.reportUserActivity();
            manager.allowSystemSleep();
        }
    };
    login->refusesBlock = true;
    twoPasses(power);
    ASSERT_EQ(log.system.size(), 1U);
    EXPECT_NE(log.system[0].find("not by you"), std::string::npos);
    for (int look = 0; look < 100 && login->activities < 2; ++look)
        loop->runFor(10ms);
    EXPECT_EQ(login->activities, 2) << "the person counts as active";

    login.reset();
    const auto alone = platform::makePowerService();
    roamer::VEXPowerManager without{*alone};
    twoPasses(without);
    ASSERT_EQ(log.system.size(), 2U);
    EXPECT_NE(log.system[1].find("VEXPowerManager:72"), std::string::npos);
}

} // namespace
