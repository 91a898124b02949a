#pragma once

#include <memory>
#include <string>

#include "bus_connection.h"
#include "platform/object_messaging.h"
#include "platform/run_loop.h"

namespace platform
{

/// The managed-client server behind `name`. On the bus each alert is one method of the interface "com.kestrel.vexd" at
/// "/com/kestrel/vexd": the texts go as a dictionary of those that are given (a{ss}), then the checkbox's initial state
/// where there is one; the answer comes back first, the checkbox last. Borrows the loop.
std::unique_ptr<VEXD_Server> makeVexdProxy(RunLoop& runLoop, std::shared_ptr<BusConnection> bus,
                                           const std::string& name);

} // namespace platform
