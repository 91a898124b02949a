#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <vector>

namespace platform
{

/// The serving side of a message port. Serves until it goes.
class PortServer
{
public:
    enum class Place { SystemBus, SessionBus };
    /// Called on the main run loop for every message; returns the reply's body.
    using Handler = std::function<std::vector<std::byte>(std::int32_t messageId, const std::vector<std::byte>& body)>;
    virtual ~PortServer() = default;
};

/// Null when the bus is not there, or another process owns the port, or the bus does not allow it to this user. `lost`
/// is called when the bus goes away.
std::unique_ptr<PortServer> servePort(PortServer::Place place, const std::string& portName, PortServer::Handler handler,
                                      std::function<void()> lost);

} // namespace platform
