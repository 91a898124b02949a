#pragma once

#include <memory>

#include "platform/run_loop.h"

namespace platform
{

std::unique_ptr<RunLoop> makeRunLoop();

} // namespace platform
