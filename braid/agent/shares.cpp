#include "shares.h"

#include <cerrno>
#include <chrono>

#include "platform/linux/lobby_protocol.h"
#include "platform/linux/lobby_reply.h"
#include "util/debug_log.h"
#include "util/lobby_notify.h"

namespace braid::agent
{

namespace
{

// The manager answers these from memory.
constexpr std::chrono::seconds kPatience{5};

std::optional<platform::LobbyReply> ask(platform::MessagePort& port, platform::PropertyListCodec& codec,
                                        std::int32_t message, const std::string& path)
{
    const auto request =
        codec.serialise(roamer::Dictionary{{roamer::kLobbyMountAtKey, path}}, platform::PropertyListCodec::Format::Xml);
    const auto* body = std::get_if<std::vector<std::byte>>(&request);
    if (body == nullptr) return std::nullopt;
    const auto reply = port.request(roamer::kLobbyNotifyPort, message, *body, kPatience, kPatience);
    if (!reply || !reply->data) return std::nullopt;
    return platform::readLobbyReply(codec, *reply->data);
}

} // namespace

std::variant<std::unique_ptr<Shares::Hold>, std::int32_t> Shares::mount(const std::string& url)
{
    std::int32_t status = EINVAL;
    const auto mountPoint = roamer::LobbyNotify(mPort, mCodec).LbNotifyWithData(url, std::nullopt, 0, status);
    if (mountPoint && status == 0) return std::make_unique<Hold>(*this, *mountPoint);
    return status != 0 ? status : EIO;
}

std::unique_ptr<Shares::Hold> Shares::hold(const std::string& path)
{
    const auto reply = ask(mPort, mCodec, platform::kLobbyHoldMessage, path);
    if (!reply || reply->error != 0 || reply->mountAt.empty()) return nullptr;
    return std::make_unique<Hold>(*this, reply->mountAt);
}

void Shares::giveUp(const std::string& mountPoint)
{
    const auto reply = ask(mPort, mCodec, platform::kLobbyGiveUpMessage, mountPoint);
    if (!reply || reply->error != 0) {
        roamer::DebugLog(1, "shares: could not be given back path=\"%s\" error=%d", mountPoint.c_str(),
                         reply ? reply->error : -1);
    }
}

} // namespace braid::agent
