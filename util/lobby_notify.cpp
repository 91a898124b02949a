#include "lobby_notify.h"

#include <chrono>

#include "format_text.h"
#include "report.h"

namespace roamer
{

namespace
{

constexpr std::chrono::seconds kSendTimeout{0};
constexpr std::chrono::seconds kReplyTimeout{20};

std::optional<std::string> mountPathOfReply(const Dictionary& reply, std::int32_t& status)
{
    // A reply without an error code tells of none.
    const auto error = reply.find(kLobbyErrorKey);
    status = error != reply.end() ? static_cast<std::int32_t>(error->second.integerReading().value_or(0)) : 0;
    const auto mountAt = reply.find(kLobbyMountAtKey);
    if (mountAt == reply.end()) return std::nullopt;
    const auto* path = mountAt->second.as<std::string>();
    return path != nullptr ? std::optional(*path) : std::nullopt;
}

} // namespace

LobbyNotify::LobbyNotify(platform::MessagePort& port, platform::PropertyListCodec& codec) : mPort(port), mCodec(codec)
{
}

std::optional<std::string> LobbyNotify::LbNotifyWithData(const std::string& url,
                                                         const std::optional<std::string>& mountAt, std::int32_t flags,
                                                         std::int32_t& status)
{
    Dictionary request{{kLobbyMountURLKey, url}, {kLobbyFlagsKey, flags}};
    if (mountAt && !mountAt->empty()) request[kLobbyMountAtKey] = *mountAt;
    const auto serialised = mCodec.serialise(request, platform::PropertyListCodec::Format::Xml);
    const auto* body = std::get_if<std::vector<std::byte>>(&serialised);
    if (body == nullptr) {
        // Without a status the caller would take the share for mounted, at no path.
        systemLogError("LbNotifyWithData: the request cannot be written as a property list");
        status = kLobbyNoReply;
        return std::nullopt;
    }
    const auto reply = mPort.request(kLobbyNotifyPort, kLobbyMountMessage, *body, kSendTimeout, kReplyTimeout);
    if (!reply) {
        systemLogError(formatText("LbNotifyWithData: creating the remote port \"%s\" failed", kLobbyNotifyPort));
        status = kLobbyNoReply;
        return std::nullopt;
    }
    if (reply->result != 0) {
        systemLogError(formatText("LbNotifyWithData: sending the request failed: %d", reply->result));
    }
    if (!reply->data) {
        status = reply->result;
        return std::nullopt;
    }
    const auto parsed = mCodec.parse(*reply->data);
    const auto* list = std::get_if<PropertyList>(&parsed);
    const auto* dictionary = list != nullptr ? list->as<Dictionary>() : nullptr;
    if (dictionary == nullptr) {
        // Whether the share is mounted is not known; "no reply" keeps the caller from going on without a path.
        systemLogError("LbNotifyWithData: the reply is not a dictionary");
        status = kLobbyNoReply;
        return std::nullopt;
    }
    return mountPathOfReply(*dictionary, status);
}

} // namespace roamer
