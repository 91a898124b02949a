#pragma once

#include <memory>

#include "platform/log_host.h"

namespace platform
{

std::unique_ptr<LogHost> makeLogHost();

} // namespace platform
