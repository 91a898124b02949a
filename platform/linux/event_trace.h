#pragma once

#include <memory>

#include "platform/event_trace.h"

namespace platform
{

std::unique_ptr<EventTrace> makeEventTrace();

} // namespace platform
