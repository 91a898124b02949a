#pragma once

#include <memory>

#include "platform/message_port.h"

namespace platform
{

std::unique_ptr<MessagePort> makeMessagePort();

} // namespace platform
