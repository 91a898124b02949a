#include "message_port.h"

#include <QByteArray>
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

/// Connections of its own for every request, so that any thread may ask.
class BusMessagePort final : public MessagePort
{
public:
    std::optional<Reply> request(const std::string& portName, std::int32_t messageId,
                                 const std::vector<std::byte>& body, std::chrono::seconds /*sendTimeout*/,
                                 std::chrono::seconds replyTimeout) override
    {
        for (const Bus kind : {Bus::System, Bus::Session}) {
            BusConnection bus(kind);
            if (bus.hasOwner(QString::fromStdString(portName))) {
                return ask(bus, portName, messageId, body, replyTimeout);
            }
        }
        return std::nullopt;
    }

private:
    static Reply ask(BusConnection& bus, const std::string& portName, std::int32_t messageId,
                     const std::vector<std::byte>& body, std::chrono::seconds replyTimeout)
    {
        auto message =
            QDBusMessage::createMethodCall(QString::fromStdString(portName), QString::fromLatin1(kPortObjectPath),
                                           QString::fromLatin1(kPortInterface), QString::fromLatin1(kPortMethod));
        message.setAutoStartService(false);
        message << messageId
                << QByteArray(reinterpret_cast<const char*>(body.data()), static_cast<qsizetype>(body.size()));
        const QDBusMessage answer = bus.connection().call(message, QDBus::Block, milliseconds(replyTimeout));

        Reply reply;
        if (answer.type() != QDBusMessage::ReplyMessage) {
            const auto error = QDBusError(answer).type();
            const bool late = error == QDBusError::NoReply || error == QDBusError::Timeout;
            reply.result = late ? kMessagePortReceiveTimeout : kMessagePortTransportError;
            return reply;
        }
        const QByteArray bytes = answer.arguments().value(0).toByteArray();
        const auto* first = reinterpret_cast<const std::byte*>(bytes.constData());
        reply.data.emplace(first, first + bytes.size());
        return reply;
    }
};

} // namespace

std::unique_ptr<MessagePort> makeMessagePort()
{
    return std::make_unique<BusMessagePort>();
}

} // namespace platform
