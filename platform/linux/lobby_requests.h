#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

#include "platform/property_list_codec.h"
#include "share_holds.h"

namespace platform
{

/// Answers the requests that arrive at the login session manager's port. Whatever the bytes are, the answer is a
/// dictionary with "Error": 0, or an errno value.
class LobbyRequests
{
public:
    /// Borrows the codec.
    explicit LobbyRequests(PropertyListCodec& codec) : mCodec(codec) {}

    std::vector<std::byte> answer(std::int32_t messageId, const std::vector<std::byte>& body);

private:
    roamer::Dictionary replyTo(std::int32_t messageId, const std::vector<std::byte>& body);
    roamer::Dictionary mount(const roamer::Dictionary& request);
    roamer::Dictionary isHeld(const roamer::Dictionary& request) const;
    roamer::Dictionary giveUp(const roamer::Dictionary& request);

    PropertyListCodec& mCodec;
    ShareHolds mHolds;
};

} // namespace platform
