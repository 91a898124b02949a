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
    int changes = 0; ///< How often it was told that the handler would answer otherwise.
    Handler handler; ///< Ask it what the machine would ask.

    bool registerForSystemPower(Handler newHandler) override
    {
        ++registrations;
        if (isPresent) handler = std::move(newHandler);
        return isPresent;
    }
    void answersChanged() override { ++changes; }
    void reportUserActivity() override {}
};

} // namespace fakes
