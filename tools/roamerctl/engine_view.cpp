#include "engine_view.h"

#include <QDBusArgument>
#include <QDBusMessage>

#include "braid/protocol.h"
#include "platform/linux/bus_connection.h"
#include "platform/linux/bus_values.h"
#include "server/pavod_vex.h"

namespace roamer::ctl
{

namespace
{

namespace protocol = braid::protocol;

constexpr int kAnswerMilliseconds = 5000;

std::optional<Dictionary> ask(platform::BusConnection& bus, const char* method)
{
    const auto call =
        QDBusMessage::createMethodCall(protocol::kBusName, protocol::kObjectPath, protocol::kInterface, method);
    const auto reply = bus.connection().call(call, QDBus::Block, kAnswerMilliseconds);
    if (reply.type() != QDBusMessage::ReplyMessage) return std::nullopt;
    return platform::fromBusValues(qdbus_cast<QVariantMap>(reply.arguments().value(0)));
}

} // namespace

std::optional<EngineView> lookAtEngine()
{
    platform::BusConnection bus(platform::Bus::Session);
    if (!bus.isConnected() || !bus.hasOwner(protocol::kBusName)) return std::nullopt;
    auto status = ask(bus, protocol::kInfo);
    auto set = ask(bus, protocol::kDescribeSet);
    if (!status || !set) return std::nullopt;
    return EngineView{std::move(*set), std::move(*status)};
}

bool agentServes()
{
    platform::BusConnection bus(platform::Bus::Session);
    return bus.isConnected() && bus.hasOwner(kPavoServerName);
}

} // namespace roamer::ctl
