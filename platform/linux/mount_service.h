#pragma once

#include <memory>

#include "platform/mount_service.h"
#include "platform/run_loop.h"
#include "share_holds.h"

namespace platform
{

/// Borrows both; `holds` learns of every share that needs no mount.
std::unique_ptr<MountService> makeMountService(RunLoop& runLoop, ShareHolds& holds);

} // namespace platform
