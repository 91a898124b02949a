#pragma once

#include <utility>

#include "platform/power_service.h"

namespace fakes
{

class FakePowerService final : public platform::PowerService
{
public:
    bool isPresent = true;
    int registrations = 0;
    int activities = 0;
    Handler handler; ///< Ask it what the machine would ask.

    bool registerForSystemPower(Handler newHandler) override
    {
        ++registrations;
        if (isPresent) handler = std::move(newHandler);
        return isPresent;
    }
    void reportUserActivity() override { ++activities; }
};

} // namespace fakes
