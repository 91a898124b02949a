#pragma once

#include <memory>

#include "platform/process_launcher.h"

namespace platform
{

/// Needs the application object, whose event loop tells when a child has ended.
std::unique_ptr<ProcessLauncher> makeProcessLauncher();

} // namespace platform
