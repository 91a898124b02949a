#pragma once

#include <optional>
#include <string>

#include "platform/directory_service.h"
#include "platform/identity_service.h"
#include "platform/property_list_codec.h"

namespace roamer
{

/// What records ask besides the directory record that they wrap. One per process; it outlives every record.
struct DirectoryContext {
    DirectoryContext(platform::DirectoryService& directoryService, platform::IdentityService& identityService,
                     platform::PropertyListCodec& propertyListCodec)
        : directory(directoryService), identity(identityService), codec(propertyListCodec)
    {
    }
    DirectoryContext(const DirectoryContext&) = delete;
    DirectoryContext& operator=(const DirectoryContext&) = delete;

    /// The name of this computer's own node: asked for once, then kept. Null when the node cannot be opened; the next
    /// call tries again.
    const std::optional<std::string>& localNodeName();

    platform::DirectoryService& directory;
    platform::IdentityService& identity;
    platform::PropertyListCodec& codec;

private:
    std::optional<std::string> mLocalNodeName;
};

} // namespace roamer
