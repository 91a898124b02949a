#pragma once

#include <memory>

#include "platform/system_settings.h"

namespace platform
{

/// Starts the settings program of the desktop that XDG_CURRENT_DESKTOP names, else the first one that is installed, at
/// its page about accounts: desktops have no page of just this name. Does not wait for it. Without one it logs that at
/// level 1 and answers false.
std::unique_ptr<SystemSettings> makeSystemSettings();

} // namespace platform
