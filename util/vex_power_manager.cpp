#include "vex_power_manager.h"

#include "report.h"

namespace roamer
{

using platform::PowerService;

VEXPowerManager::VEXPowerManager(PowerService& power) : mPower(power) {}

void VEXPowerManager::preventSystemSleep()
{
    if (!mRegistered) {
        mRegistered = true;
        if (!mPower.registerForSystemPower([this](PowerService::SleepMessage message) { return answer(message); })) {
            systemLogError("VEXPowerManager:72: the registration for system power notifications failed");
        }
    }
    mAllowSleep = false;
    mPower.answersChanged();
}

void VEXPowerManager::allowSystemSleep()
{
    mAllowSleep = true;
    mPower.answersChanged();
}

void VEXPowerManager::reportUserActivity()
{
    mPower.reportUserActivity();
}

PowerService::Answer VEXPowerManager::answer(PowerService::SleepMessage /*message*/) const
{
    // The question and the notice are answered alike.
    return mAllowSleep ? PowerService::Answer::Allow : PowerService::Answer::Cancel;
}

} // namespace roamer
