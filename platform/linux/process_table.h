#pragma once

#include <memory>

#include "platform/process_table.h"

namespace platform
{

std::unique_ptr<ProcessTable> makeProcessTable();

} // namespace platform
