#pragma once

#include <memory>

#include "platform/file_system.h"
#include "platform/mount_service.h"
#include "platform/run_loop.h"
#include "share_holds.h"

namespace platform
{

/// Shares on servers are mounted by lobbyd; a folder of this computer is there already, and is looked at through
/// `files`. Borrows all of them; `holds` learns of every share that needs no mount.
///
/// Error codes are errno values: EACCES wrong name or password, EHOSTUNREACH unknown host, ENOENT no such share,
/// EOPNOTSUPP no client for it installed, ENOTCONN no lobbyd; docs/protocols.md has them all.
std::unique_ptr<MountService> makeMountService(RunLoop& runLoop, ShareHolds& holds, FileSystem& files);
/// With the plain file system.
std::unique_ptr<MountService> makeMountService(RunLoop& runLoop, ShareHolds& holds);

} // namespace platform
