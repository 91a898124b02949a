#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "platform/message_port.h"
#include "platform/property_list_codec.h"

namespace roamer
{

/// The login session manager's port and its one request, with the keys of request and reply.
inline constexpr const char* kLobbyNotifyPort = "com.kestrel.lobby.notify";
inline constexpr std::int32_t kLobbyMountMessage = 1000;
inline constexpr const char* kLobbyMountURLKey = "MountURL";
inline constexpr const char* kLobbyMountAtKey = "MountAt";
inline constexpr const char* kLobbyFlagsKey = "Flags";
inline constexpr const char* kLobbyErrorKey = "Error";

/// Status when the port does not exist, and when the request or the reply cannot be written down or read.
inline constexpr std::int32_t kLobbyNoReply = -3;

/// Asks the login session manager to mount a share with the credentials of the current login. No state: one object may
/// serve several threads.
class LobbyNotify
{
public:
    /// Borrows both.
    LobbyNotify(platform::MessagePort& port, platform::PropertyListCodec& codec);

    /// Blocks the calling thread for at most 20 seconds. Returns where the share was mounted, as the manager says, or
    /// null. `mountAt` null or empty: the manager chooses. `status` is 0 on success, the manager's mount error, or why
    /// there was no reply.
    std::optional<std::string> LbNotifyWithData(const std::string& url, const std::optional<std::string>& mountAt,
                                                std::int32_t flags, std::int32_t& status);

private:
    platform::MessagePort& mPort;
    platform::PropertyListCodec& mCodec;
};

} // namespace roamer
