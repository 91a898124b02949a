#pragma once

#include <memory>

#include "platform/object_messaging.h"

namespace platform
{

std::unique_ptr<ObjectMessaging> makeObjectMessaging();

} // namespace platform
