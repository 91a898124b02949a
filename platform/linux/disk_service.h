#pragma once

#include <memory>

#include "platform/disk_service.h"
#include "platform/message_port.h"
#include "platform/property_list_codec.h"
#include "share_holds.h"

namespace platform
{

/// Borrows all. A share that this process does not hold itself may be held for it by the login session manager, which
/// is asked through the port.
std::unique_ptr<DiskService> makeDiskService(ShareHolds& holds, MessagePort& port, PropertyListCodec& codec);

} // namespace platform
