#pragma once

#include <memory>

#include "platform/application.h"

namespace platform
{

/// The process's one event-loop object, which must exist before every other service and outlive it. The process ends
/// when the message bus of its session goes away.
std::unique_ptr<Application> makeApplication();

} // namespace platform
