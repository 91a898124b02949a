#include "lobby_mount.h"

#include <cerrno>
#include <climits>
#include <utility>
#include <vector>

#include <QDBusPendingReply>

#include "lobby_protocol.h"
#include "port_protocol.h"
#include "property_list_codec.h"
#include "util/lobby_notify.h"

namespace platform
{

namespace
{

/// The bus on which lobbyd serves; null when it serves on none.
std::unique_ptr<BusConnection> lobbyBus()
{
    for (const Bus kind : {Bus::System, Bus::Session}) {
        auto bus = std::make_unique<BusConnection>(kind);
        if (bus->hasOwner(QString::fromLatin1(roamer::kLobbyNotifyPort))) return bus;
    }
    return nullptr;
}

} // namespace

std::variant<std::unique_ptr<LobbyMount>, std::int32_t> LobbyMount::start(const std::string& url,
                                                                          const std::string& userName,
                                                                          std::string_view password,
                                                                          std::uint32_t flags, Ended ended)
{
    const roamer::Dictionary request{{roamer::kLobbyMountURLKey, url},
                                     {kLobbyUserNameKey, userName},
                                     {roamer::kLobbyFlagsKey, static_cast<std::int64_t>(flags)}};
    const auto codec = makePropertyListCodec();
    const auto serialised = codec->serialise(request, PropertyListCodec::Format::Xml);
    const auto* body = std::get_if<std::vector<std::byte>>(&serialised);
    if (body == nullptr) return EINVAL;
    auto pipe = PasswordPipe::make(password);
    if (!pipe) return EINVAL;
    auto bus = lobbyBus();
    if (bus == nullptr) return ENOTCONN;

    const auto message = portMessage(roamer::kLobbyNotifyPort, kLobbyMountWithPasswordMessage, *body, pipe->readEnd());
    std::unique_ptr<LobbyMount> mount(new LobbyMount(std::move(bus), *std::move(pipe), std::move(ended)));
    const auto call = mount->mBus->connection().asyncCall(message, INT_MAX);
    mount->mPipe->closeReadEnd(); // The message has one of its own.
    mount->mWatcher = std::make_unique<QDBusPendingCallWatcher>(call);
    QObject::connect(mount->mWatcher.get(), &QDBusPendingCallWatcher::finished, &mount->mContext,
                     [waiting = mount.get()] { waiting->replied(); });
    return mount;
}

LobbyMount::LobbyMount(std::unique_ptr<BusConnection> bus, PasswordPipe pipe, Ended ended)
    : mCodec(makePropertyListCodec()), mBus(std::move(bus)), mPipe(std::move(pipe)), mEnded(std::move(ended))
{
}

void LobbyMount::cancel(std::unique_ptr<LobbyMount> mount)
{
    mount->mPipe.reset();
    mount->mEnded = nullptr;
    auto* waiting = mount.get();
    waiting->mSelf = std::move(mount);
}

void LobbyMount::replied()
{
    const auto self = std::move(mSelf); // ends with this call
    const auto message = QDBusPendingReply<QByteArray>(*mWatcher).reply();
    mWatcher.release()->deleteLater(); // It is just telling of this.
    LobbyReply reply{.error = ENOTCONN, .mountAt = {}};
    if (message.type() == QDBusMessage::ReplyMessage) reply = readLobbyReply(*mCodec, portReplyBody(message));
    if (mEnded) {
        const auto ended = std::move(mEnded);
        ended(reply);
    } else if (reply.error == 0) {
        giveUp(reply.mountAt);
    }
}

void LobbyMount::giveUp(const std::string& share)
{
    const auto body =
        mCodec->serialise(roamer::Dictionary{{roamer::kLobbyMountAtKey, share}}, PropertyListCodec::Format::Xml);
    const auto* bytes = std::get_if<std::vector<std::byte>>(&body);
    if (bytes == nullptr) return;
    mBus->connection().send(portMessage(roamer::kLobbyNotifyPort, kLobbyGiveUpMessage, *bytes));
    mBus->flush();
}

} // namespace platform
