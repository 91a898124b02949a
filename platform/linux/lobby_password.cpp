#include "lobby_password.h"

#include <cerrno>
#include <chrono>
#include <optional>
#include <vector>

#include "lobby_protocol.h"
#include "lobby_reply.h"
#include "message_port.h"
#include "password_pipe.h"
#include "property_list_codec.h"
#include "util/lobby_notify.h"

namespace platform
{

namespace
{

constexpr std::chrono::seconds kPatience{5};

std::vector<std::byte> requestFor(PropertyListCodec& codec, uid_t user)
{
    const roamer::Dictionary request{{kLobbyUserIDKey, static_cast<std::int64_t>(user)}};
    return std::get<std::vector<std::byte>>(codec.serialise(request, PropertyListCodec::Format::Xml));
}

std::int32_t statusOf(PropertyListCodec& codec, const std::optional<MessagePort::Reply>& reply)
{
    if (!reply) return roamer::kLobbyNoReply;
    if (!reply->data) return reply->result;
    return readLobbyReply(codec, *reply->data).error;
}

} // namespace

std::int32_t keepLoginPassword(uid_t user, std::string_view password)
{
    if (password.empty()) return EINVAL;
    const auto codec = makePropertyListCodec();
    const auto pipe = PasswordPipe::make(password);
    if (!pipe) return E2BIG;
    return statusOf(*codec, requestWithDescriptor(roamer::kLobbyNotifyPort, kLobbyKeepPasswordMessage,
                                                  requestFor(*codec, user), pipe->readEnd(), kPatience));
}

std::int32_t dropLoginPassword(uid_t user)
{
    const auto codec = makePropertyListCodec();
    return statusOf(*codec, makeMessagePort()->request(roamer::kLobbyNotifyPort, kLobbyDropPasswordMessage,
                                                       requestFor(*codec, user), kPatience, kPatience));
}

} // namespace platform
