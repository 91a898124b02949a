#pragma once

#include <memory>

#include "platform/directory_service.h"
#include "platform/property_list_codec.h"

namespace platform
{

/// The computer's own node: one property list per record in /Library/Directory/Local/{Users,Groups,Computers} below the
/// system root, completed from the passwd and group databases. A file that is there but does not answer (unreadable,
/// damaged, too large) is an error, never "no such record". Borrows the codec.
std::unique_ptr<DirectoryService> makeDirectoryService(PropertyListCodec& codec);

/// The local node's name, and what a local record answers for "axAttrTypeStandard:KestrelMetaNodeLocation" unless its
/// file says otherwise.
inline constexpr const char* kLocalNodeName = "/Local/Default";

} // namespace platform
