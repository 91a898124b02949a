#pragma once

#include <functional>
#include <memory>

#include "platform/object_messaging.h"

namespace platform
{

/// Messaging over the session's message bus. `busLost` is called on the main run loop when the bus that an object is
/// published on goes away: nobody can reach it any more.
std::unique_ptr<ObjectMessaging> makeObjectMessaging(std::function<void()> busLost);

} // namespace platform
