#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "lobby_reply.h"
#include "platform/message_port.h"
#include "platform/property_list_codec.h"

namespace platform
{

/// Holds that lobbyd has for this process. A share stays mounted as long as somebody holds it; what a process holds is
/// given up when it ends. Each call blocks for at most two seconds, and is usable from any thread. To have a share
/// mounted and held, see util/lobby_notify.h.
class LobbyClient
{
public:
    /// Borrows both.
    LobbyClient(MessagePort& port, PropertyListCodec& codec) : mPort(port), mCodec(codec) {}

    /// One more hold on the share that `path` lies in; where that share begins, which is what to give up. Null when
    /// lobbyd has mounted no such share for this user, and when there is no lobbyd.
    std::optional<std::string> hold(const std::string& path);
    bool isHeld(const std::string& share);
    /// False when this process did not hold it.
    bool giveUp(const std::string& share);

private:
    LobbyReply ask(std::int32_t message, const std::string& path);

    MessagePort& mPort;
    PropertyListCodec& mCodec;
};

} // namespace platform
