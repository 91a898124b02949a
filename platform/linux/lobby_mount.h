#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <variant>

#include <QDBusPendingCallWatcher>
#include <QObject>

#include "bus_connection.h"
#include "lobby_reply.h"
#include "password_pipe.h"
#include "platform/property_list_codec.h"

namespace platform
{

/// A mount that lobbyd was asked for and has not answered. Main thread; needs an event loop.
class LobbyMount
{
public:
    using Ended = std::function<void(const LobbyReply&)>;

    /// An empty password means the credentials of the login. `ended` is called once on the main loop, never inside this
    /// call: with the reply, or with ENOTCONN when lobbyd went away. An errno value when the request cannot be sent;
    /// ENOTCONN: there is no lobbyd.
    static std::variant<std::unique_ptr<LobbyMount>, std::int32_t> start(const std::string& url,
                                                                         const std::string& userName,
                                                                         std::string_view password, std::uint32_t flags,
                                                                         Ended ended);

    /// Takes the request back. A mount that was done in the very moment is given up again.
    static void cancel(std::unique_ptr<LobbyMount> mount);

private:
    LobbyMount(std::unique_ptr<BusConnection> bus, PasswordPipe pipe, Ended ended);
    void replied();
    void giveUp(const std::string& share);

    std::unique_ptr<PropertyListCodec>
        mCodec; ///< Its own: a request that was taken back may live longer than its asker.
    std::unique_ptr<BusConnection> mBus;
    std::optional<PasswordPipe> mPipe; ///< Its end is the sign to cancel.
    Ended mEnded;
    std::unique_ptr<QDBusPendingCallWatcher> mWatcher;
    std::unique_ptr<LobbyMount> mSelf; ///< Waits for the answer to a request that was taken back.
    QObject mContext;
};

} // namespace platform
