#include "util/vex_power_manager.h"

#include <gtest/gtest.h>

#include "tests/fakes/fake_power_service.h"

namespace
{

using Answer = platform::PowerService::Answer;
using Message = platform::PowerService::SleepMessage;

TEST(VEXPowerManager, VetoesSleepOnlyBetweenPreventAndAllow)
{
    fakes::FakePowerService power;
    roamer::VEXPowerManager manager(power);
    manager.allowSystemSleep();
    EXPECT_EQ(power.registrations, 0) << "nobody has asked for a veto yet";
    for (const auto answer : {Answer::Cancel, Answer::Allow, Answer::Cancel}) {
        answer == Answer::Cancel ? manager.preventSystemSleep() : manager.allowSystemSleep();
        EXPECT_EQ(power.handler(Message::CanSystemSleep), answer);
        EXPECT_EQ(power.handler(Message::SystemWillSleep), answer);
    }
    EXPECT_EQ(power.registrations, 1);
    EXPECT_GE(power.changes, 3) << "a service that has to know in advance hears of every change";
}

} // namespace
