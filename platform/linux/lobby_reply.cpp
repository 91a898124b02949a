#include "lobby_reply.h"

#include "util/lobby_notify.h"

namespace platform
{

LobbyReply readLobbyReply(PropertyListCodec& codec, const std::vector<std::byte>& body)
{
    LobbyReply reply;
    const auto parsed = codec.parse(body);
    const auto* list = std::get_if<roamer::PropertyList>(&parsed);
    const auto* dictionary = list != nullptr ? list->as<roamer::Dictionary>() : nullptr;
    if (dictionary == nullptr) return {.error = roamer::kLobbyNoReply, .mountAt = {}};
    const auto error = dictionary->find(roamer::kLobbyErrorKey);
    if (error != dictionary->end()) {
        reply.error = static_cast<std::int32_t>(error->second.integerReading().value_or(roamer::kLobbyNoReply));
    }
    const auto mountAt = dictionary->find(roamer::kLobbyMountAtKey);
    if (mountAt == dictionary->end()) return reply;
    if (const auto* path = mountAt->second.as<std::string>()) reply.mountAt = *path;
    return reply;
}

} // namespace platform
