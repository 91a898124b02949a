#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include <sys/types.h>

#include "unique_fd.h"

namespace platform
{

/// The process that sent a message, as the bus knows it: nothing of this comes from the message.
struct PortCaller {
    uid_t uid = 0;
    pid_t pid = 0;
    std::shared_ptr<UniqueFd> process; ///< A pidfd of that very process.
};

struct PortMessage {
    std::int32_t id = 0;
    std::vector<std::byte> body;
    PortCaller caller;
    UniqueFd descriptor; ///< The one that came with the message; not open when none came.
};

/// The serving side of a message port. Serves until it goes.
class PortServer
{
public:
    enum class Place { SystemBus, SessionBus };
    /// Sends the reply's body; to be called once, soon or later, on the main thread.
    using Reply = std::function<void(const std::vector<std::byte>& body)>;
    /// Called on the main run loop for every message.
    using Handler = std::function<void(PortMessage message, Reply reply)>;
    virtual ~PortServer() = default;
};

/// Null when the bus is not there, or another process owns the port, or the bus does not allow it to this user. `lost`
/// is called when the bus goes away.
std::unique_ptr<PortServer> servePort(PortServer::Place place, const std::string& portName, PortServer::Handler handler,
                                      std::function<void()> lost);

} // namespace platform
