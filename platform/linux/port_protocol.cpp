#include "port_protocol.h"

#include <QByteArray>
#include <QDBusUnixFileDescriptor>
#include <QVariant>

namespace platform
{

QDBusMessage portMessage(const std::string& portName, std::int32_t messageId, const std::vector<std::byte>& body,
                         int descriptor)
{
    const char* method = descriptor < 0 ? kPortMethod : kPortDescriptorMethod;
    auto message =
        QDBusMessage::createMethodCall(QString::fromStdString(portName), QString::fromLatin1(kPortObjectPath),
                                       QString::fromLatin1(kPortInterface), QString::fromLatin1(method));
    message.setAutoStartService(false);
    message << messageId << QByteArray(reinterpret_cast<const char*>(body.data()), static_cast<qsizetype>(body.size()));
    if (descriptor >= 0) message << QVariant::fromValue(QDBusUnixFileDescriptor(descriptor));
    return message;
}

std::vector<std::byte> portReplyBody(const QDBusMessage& reply)
{
    const QByteArray bytes = reply.arguments().value(0).toByteArray();
    const auto* first = reinterpret_cast<const std::byte*>(bytes.constData());
    return {first, first + bytes.size()};
}

} // namespace platform
