#pragma once

#include <memory>

#include "platform/run_loop.h"
#include "platform/standard_input.h"

namespace platform
{

/// The standard input of this process. Borrows the loop.
std::unique_ptr<StandardInput> makeStandardInput(RunLoop& runLoop);

} // namespace platform
