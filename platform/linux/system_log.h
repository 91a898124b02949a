#pragma once

#include <memory>
#include <string>

#include "platform/system_log.h"

namespace platform
{

/// syslog(3) under the program's name, with the process id.
std::unique_ptr<SystemLog> makeSystemLog(const std::string& programName);

} // namespace platform
