#pragma once

#include <memory>

#include "platform/window_system.h"

namespace platform
{

/// A window system that has no display to draw on: layouts fail to load, no key is ever down, there are no screens, and
/// a modal session goes on until it is stopped.
std::unique_ptr<WindowSystem> makeWindowSystem();

} // namespace platform
