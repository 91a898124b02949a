#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "child_task.h"
#include "platform/linux/share_url.h"

namespace lobby
{

/// Whom a share is mounted for.
struct Account {
    std::string name;
    std::string home;
    Identity identity;
};

/// What a mount is tried with.
struct Credentials {
    std::string user; ///< The name on the server.
    std::string_view password;
    bool hasPassword = false;
    std::optional<std::string> ticketCache; ///< A file with Kerberos tickets.
};

/// The folder of another set of mount clients, for tests; "" for the system's own.
using ClientFolder = std::string;

/// Files that a mount leads to.
struct MountPlaces {
    std::string mountPoint; ///< Real path.
    std::string logFile;    ///< Where the client's helper may write what goes wrong, also later; "" for nowhere.
    std::string knownHosts; ///< Server keys that the administrator vouches for, beside the system's; "" for none.
};

/// The system's own client for the share, told to mount it for this account and no other. The password is borrowed.
ChildJob mountCommand(const platform::ServerShare& share, const Account& account, const Credentials& credentials,
                      const MountPlaces& places, const ClientFolder& clients);

/// Whether the client runs as the account's user, and not as root.
bool runsAsUser(const platform::ServerShare& share);

/// Why a client did not mount: an errno value and words.
struct MountFailure {
    std::int32_t code = 0;
    std::string words;
};
MountFailure failureOf(const ChildEnd& end, const std::string& program);

} // namespace lobby
