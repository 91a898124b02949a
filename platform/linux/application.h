#pragma once

#include <memory>

#include "platform/application.h"

namespace platform
{

/// The process's one event-loop object. Made before every other service; outlives them.
std::unique_ptr<Application> makeApplication();

} // namespace platform
