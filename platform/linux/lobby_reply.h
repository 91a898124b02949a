#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "platform/property_list_codec.h"

namespace platform
{

/// What the login session manager answered.
struct LobbyReply {
    std::int32_t error = 0;
    std::string mountAt; ///< "" when the reply has none.
};

/// A reply that is no dictionary reads as kLobbyNoReply; one without an error code tells of none.
LobbyReply readLobbyReply(PropertyListCodec& codec, const std::vector<std::byte>& body);

} // namespace platform
