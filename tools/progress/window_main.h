#pragma once

#include <functional>

namespace windows
{

class WindowServer;

/// The whole of the window program: finds the display, and serves the agent on the standard streams. `prepare` is
/// called with the server before it starts. Returns the exit status.
int windowMain(int argc, char** argv, const std::function<void(WindowServer&)>& prepare = nullptr);

} // namespace windows
