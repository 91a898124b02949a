#pragma once

#include <string>

#include "platform/system_log.h"

namespace roamer
{

/// Installs the system log that `report` writes to and returns the one before. Null for none. Borrowed.
platform::SystemLog* setReportLog(platform::SystemLog* log);

/// For failures that an administrator must see: the same text to the system log at error priority, to standard output
/// with a newline, and to the debug log at level 0.
void report(const std::string& text);

/// To the system log only.
void systemLogError(const std::string& text);

} // namespace roamer
