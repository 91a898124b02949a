#include "lobby_requests.h"

#include <cerrno>
#include <optional>
#include <string>

#include "lobby_protocol.h"
#include "share_url.h"
#include "util/debug_log.h"
#include "util/lobby_notify.h"

namespace platform
{

using roamer::Dictionary;

namespace
{

// A request is a URL, a path and a number.
constexpr std::size_t kLargestBody = std::size_t{64} * 1024;

Dictionary failed(int error)
{
    return {{roamer::kLobbyErrorKey, error}};
}

const std::string* textOf(const Dictionary& request, const char* key)
{
    const auto found = request.find(key);
    return found != request.end() ? found->second.as<std::string>() : nullptr;
}

} // namespace

std::vector<std::byte> LobbyRequests::answer(std::int32_t messageId, const std::vector<std::byte>& body)
{
    constexpr auto kForm = PropertyListCodec::Format::Xml;
    auto bytes = mCodec.serialise(replyTo(messageId, body), kForm);
    // The text form cannot hold a path that is not UTF-8.
    if (std::holds_alternative<PropertyListCodec::Error>(bytes)) bytes = mCodec.serialise(failed(EILSEQ), kForm);
    return std::get<std::vector<std::byte>>(bytes);
}

Dictionary LobbyRequests::replyTo(std::int32_t messageId, const std::vector<std::byte>& body)
{
    if (body.size() > kLargestBody) return failed(EMSGSIZE);
    const auto parsed = mCodec.parse(body);
    const auto* list = std::get_if<roamer::PropertyList>(&parsed);
    const auto* request = list != nullptr ? list->as<Dictionary>() : nullptr;
    if (request == nullptr) return failed(EINVAL);
    switch (messageId) {
    case roamer::kLobbyMountMessage:
        return mount(*request);
    case kLobbyIsHeldMessage:
        return isHeld(*request);
    case kLobbyGiveUpMessage:
        return giveUp(*request);
    default:
        return failed(ENOSYS);
    }
}

Dictionary LobbyRequests::mount(const Dictionary& request)
{
    const auto* url = textOf(request, roamer::kLobbyMountURLKey);
    if (url == nullptr) return failed(EINVAL);
    // Only the scheme is named: the rest of a URL may hold a password.
    const std::string scheme = schemeOf(*url);
    if (scheme != "file") {
        roamer::DebugLog(1, "lobbyd: shares of the kind \"%s\" cannot be mounted yet, only \"file\"", scheme.c_str());
        return failed(EPROTONOSUPPORT);
    }
    // A wished-for place is of no use here: the share is where its folder is.
    const FileShare share = openFileShare(*url);
    if (share.error != 0) return failed(share.error);
    mHolds.hold(share.folder);
    return {{roamer::kLobbyErrorKey, 0}, {roamer::kLobbyMountAtKey, share.folder}};
}

Dictionary LobbyRequests::isHeld(const Dictionary& request) const
{
    const auto* path = textOf(request, roamer::kLobbyMountAtKey);
    if (path == nullptr) return failed(EINVAL);
    return failed(mHolds.isHeld(sharePath(*path)) ? 0 : ENOENT);
}

Dictionary LobbyRequests::giveUp(const Dictionary& request)
{
    const auto* path = textOf(request, roamer::kLobbyMountAtKey);
    if (path == nullptr) return failed(EINVAL);
    return failed(mHolds.giveUp(sharePath(*path)) ? 0 : ENOENT);
}

} // namespace platform
