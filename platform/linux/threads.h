#pragma once

#include <memory>

#include "platform/threads.h"

namespace platform
{

std::unique_ptr<Threads> makeThreads();

} // namespace platform
