#include "lobby_client.h"

#include <chrono>
#include <vector>

#include "lobby_protocol.h"
#include "util/lobby_notify.h"

namespace platform
{

namespace
{

// lobbyd answers from memory; a longer silence means that it hangs, and nobody should wait for that.
constexpr std::chrono::seconds kPatience{2};

} // namespace

std::optional<std::string> LobbyClient::hold(const std::string& path)
{
    const auto reply = ask(kLobbyHoldMessage, path);
    if (reply.error != 0) return std::nullopt;
    return reply.mountAt;
}

bool LobbyClient::isHeld(const std::string& share)
{
    return ask(kLobbyIsHeldMessage, share).error == 0;
}

bool LobbyClient::giveUp(const std::string& share)
{
    return ask(kLobbyGiveUpMessage, share).error == 0;
}

LobbyReply LobbyClient::ask(std::int32_t message, const std::string& path)
{
    const LobbyReply none{.error = roamer::kLobbyNoReply, .mountAt = {}};
    const auto request =
        mCodec.serialise(roamer::Dictionary{{roamer::kLobbyMountAtKey, path}}, PropertyListCodec::Format::Xml);
    const auto* body = std::get_if<std::vector<std::byte>>(&request);
    if (body == nullptr) return none;
    const auto reply = mPort.request(roamer::kLobbyNotifyPort, message, *body, kPatience, kPatience);
    return reply && reply->data ? readLobbyReply(mCodec, *reply->data) : none;
}

} // namespace platform
