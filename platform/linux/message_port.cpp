#include "message_port.h"

#include <QDBusError>
#include <QDBusMessage>
#include <algorithm>
#include <climits>

#include "bus_connection.h"
#include "port_protocol.h"

namespace platform
{

namespace
{

int milliseconds(std::chrono::seconds span)
{
    constexpr std::chrono::seconds kLongest(INT_MAX / 1000);
    return static_cast<int>(std::chrono::milliseconds(std::clamp(span, std::chrono::seconds(0), kLongest)).count());
}

/// Over a connection of its own for every request, so that any thread may ask.
std::optional<MessagePort::Reply> ask(const std::string& portName, const QDBusMessage& message,
                                      std::chrono::seconds replyTimeout)
{
    for (const Bus kind : {Bus::System, Bus::Session}) {
        BusConnection bus(kind);
        if (!bus.hasOwner(QString::fromStdString(portName))) continue;
        const QDBusMessage answer = bus.connection().call(message, QDBus::Block, milliseconds(replyTimeout));
        MessagePort::Reply reply;
        if (answer.type() == QDBusMessage::ReplyMessage) {
            reply.data = portReplyBody(answer);
            return reply;
        }
        const auto error = QDBusError(answer).type();
        const bool late = error == QDBusError::NoReply || error == QDBusError::Timeout;
        reply.result = late ? kMessagePortReceiveTimeout : kMessagePortTransportError;
        return reply;
    }
    return std::nullopt;
}

class BusMessagePort final : public MessagePort
{
public:
    std::optional<Reply> request(const std::string& portName, std::int32_t messageId,
                                 const std::vector<std::byte>& body, std::chrono::seconds /*sendTimeout*/,
                                 std::chrono::seconds replyTimeout) override
    {
        return ask(portName, portMessage(portName, messageId, body), replyTimeout);
    }
};

} // namespace

std::unique_ptr<MessagePort> makeMessagePort()
{
    return std::make_unique<BusMessagePort>();
}

std::optional<MessagePort::Reply> requestWithDescriptor(const std::string& portName, std::int32_t messageId,
                                                        const std::vector<std::byte>& body, int descriptor,
                                                        std::chrono::seconds replyTimeout)
{
    return ask(portName, portMessage(portName, messageId, body, descriptor), replyTimeout);
}

} // namespace platform
