#include "shares.h"

#include <cerrno>

#include "platform/linux/lobby_client.h"
#include "util/debug_log.h"
#include "util/lobby_notify.h"

namespace braid::agent
{

std::variant<std::unique_ptr<Shares::Hold>, std::int32_t> Shares::mount(const std::string& url)
{
    std::int32_t status = EINVAL;
    const auto mountPoint = roamer::LobbyNotify(mPort, mCodec).LbNotifyWithData(url, std::nullopt, 0, status);
    if (mountPoint && status == 0) return std::make_unique<Hold>(*this, *mountPoint);
    return status != 0 ? status : EIO;
}

std::unique_ptr<Shares::Hold> Shares::hold(const std::string& path)
{
    const auto share = platform::LobbyClient(mPort, mCodec).hold(path);
    if (!share || share->empty()) return nullptr;
    return std::make_unique<Hold>(*this, *share);
}

void Shares::giveUp(const std::string& mountPoint)
{
    if (!platform::LobbyClient(mPort, mCodec).giveUp(mountPoint)) {
        roamer::DebugLog(1, "shares: could not be given back path=\"%s\"", mountPoint.c_str());
    }
}

} // namespace braid::agent
