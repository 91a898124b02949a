#pragma once

#include <memory>

#include "platform/window_system.h"

namespace platform
{

/// Below the system root; see window_protocol.h for what is said to it.
inline constexpr const char* kWindowProgramPath = "/System/Library/Hearth/Custodia.app/Contents/ZilOS/roamer-window";

/// Windows that a process of their own draws, on the display that the environment names: a display that dies takes that
/// process with it and not the agent. Without a display layouts fail to load, no key is ever down and there are no
/// screens. A window that lost its display takes what is set and shows it to nobody; its modal session goes on until it
/// is stopped.
///
/// Needs an application object to be there, and a main event loop for changes between steps to be shown.
std::unique_ptr<WindowSystem> makeWindowSystem();

} // namespace platform
