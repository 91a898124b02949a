#include "port_server.h"

#include "bus_connection.h"
#include "bus_watch.h"
#include "port_adaptor.h"
#include "port_protocol.h"

namespace platform
{

namespace
{

class BusPortServer final : public PortServer
{
public:
    BusPortServer(Bus bus, Handler handler, std::function<void()> lost)
        : mBus(bus), mWatch(mBus.connection(), std::move(lost))
    {
        new PortAdaptor(&mObject, mBus.connection(), std::move(handler));
    }

    bool publish(const std::string& portName)
    {
        auto& bus = mBus.connection();
        return bus.isConnected() && bus.registerObject(QString::fromLatin1(kPortObjectPath), &mObject) &&
               bus.registerService(QString::fromStdString(portName));
    }

private:
    BusConnection mBus;
    BusWatch mWatch;
    QObject mObject;
};

} // namespace

std::unique_ptr<PortServer> servePort(PortServer::Place place, const std::string& portName, PortServer::Handler handler,
                                      std::function<void()> lost)
{
    const Bus bus = place == PortServer::Place::SystemBus ? Bus::System : Bus::Session;
    auto server = std::make_unique<BusPortServer>(bus, std::move(handler), std::move(lost));
    if (!server->publish(portName)) return nullptr;
    return server;
}

} // namespace platform
