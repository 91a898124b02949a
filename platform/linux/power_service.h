#pragma once

#include <memory>

#include "platform/power_service.h"

namespace platform
{

std::unique_ptr<PowerService> makePowerService();

} // namespace platform
