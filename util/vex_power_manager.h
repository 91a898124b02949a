#pragma once

#include "platform/power_service.h"

namespace roamer
{

/// Keeps the machine from sleeping while a pass runs that must not be interrupted. One per process; main thread.
class VEXPowerManager
{
public:
    /// Borrows the service.
    explicit VEXPowerManager(platform::PowerService& power);
    VEXPowerManager(const VEXPowerManager&) = delete;
    VEXPowerManager& operator=(const VEXPowerManager&) = delete;

    /// Vetoes sleep until allowSystemSleep. The first call registers with the power service; when that fails the
    /// system log says so, sleep stays unmanaged and no later call tries again.
    void preventSystemSleep();
    void allowSystemSleep();

    /// The person counts as active now.
    void reportUserActivity();

private:
    platform::PowerService::Answer answer(platform::PowerService::SleepMessage message) const;

    platform::PowerService& mPower;
    bool mRegistered = false; ///< Registration was attempted.
    bool mAllowSleep = true;
};

} // namespace roamer
