#pragma once

#include <memory>

#include "platform/distributed_notifications.h"

namespace platform
{

std::unique_ptr<DistributedNotifications> makeDistributedNotifications();

} // namespace platform
