#pragma once

#include <functional>
#include <memory>

#include "platform/object_messaging.h"
#include "platform/run_loop.h"

namespace platform
{

/// Messaging over the session's message bus. `busLost` is called on the main run loop when the bus that an object is
/// published on goes away: nobody can reach it any more. Without a loop (borrowed) to wait in, no managed-client server
/// is ever found.
std::unique_ptr<ObjectMessaging> makeObjectMessaging(std::function<void()> busLost, RunLoop* runLoop = nullptr);

} // namespace platform
