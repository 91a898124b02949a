#include "util/vex_power_manager.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/fakes/fake_power_service.h"
#include "tests/fakes/recording_log.h"

namespace
{

using platform::PowerService;
using Answer = PowerService::Answer;
using Message = PowerService::SleepMessage;

TEST(VEXPowerManager, VetoesSleepOnlyBetweenPreventAndAllow)
{
    fakes::FakePowerService power;
    roamer::VEXPowerManager manager(power);
    manager.allowSystemSleep();
    EXPECT_EQ(power.registrations, 0) << "nobody has asked for a veto yet";

    manager.preventSystemSleep();
    ASSERT_TRUE(power.handler);
    EXPECT_EQ(power.handler(Message::CanSystemSleep), Answer::Cancel);
    EXPECT_EQ(power.handler(Message::SystemWillSleep), Answer::Cancel);
    manager.allowSystemSleep();
    EXPECT_EQ(power.handler(Message::CanSystemSleep), Answer::Allow);
    EXPECT_EQ(power.handler(Message::SystemWillSleep), Answer::Allow);
    manager.preventSystemSleep();
    EXPECT_EQ(power.handler(Message::CanSystemSleep), Answer::Cancel);
    EXPECT_EQ(power.registrations, 1);
    EXPECT_GE(power.changes, 3) << "a service that has to know in advance hears of every change";
}

TEST(VEXPowerManager, TriesToRegisterOnceAndGoesOnWithout)
{
    fakes::RecordingLog log;
    fakes::FakePowerService power;
    power.isPresent = false;
    roamer::VEXPowerManager manager(power);
    manager.preventSystemSleep();
    manager.preventSystemSleep();
    EXPECT_EQ(power.registrations, 1);
    ASSERT_EQ(log.system.size(), 1U);
    EXPECT_THAT(log.system.front(), testing::AllOf(testing::HasSubstr("VEXPowerManager"), testing::HasSubstr("72")));
    EXPECT_TRUE(log.lines.empty());
}

} // namespace
