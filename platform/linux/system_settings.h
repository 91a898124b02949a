#pragma once

#include <memory>

#include "platform/system_settings.h"

namespace platform
{

/// Knows no desktop's settings program yet: it logs that at level 1 and answers false.
std::unique_ptr<SystemSettings> makeSystemSettings();

} // namespace platform
