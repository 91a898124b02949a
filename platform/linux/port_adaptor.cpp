#include "port_adaptor.h"

#include <QDBusArgument>
#include <QVariantMap>
#include <optional>

#include <fcntl.h>
#include <sys/syscall.h>
#include <unistd.h>

namespace platform
{

namespace
{

QDBusMessage askBus(const QDBusConnection& bus, const char* method, const QString& sender)
{
    auto question =
        QDBusMessage::createMethodCall(QStringLiteral("org.freedesktop.DBus"), QStringLiteral("/org/freedesktop/DBus"),
                                       QStringLiteral("org.freedesktop.DBus"), QString::fromLatin1(method));
    question << sender;
    return bus.call(question);
}

/// Nothing when the sender has gone.
std::optional<PortCaller> callerOf(const QDBusConnection& bus, const QString& sender)
{
    const auto answer = askBus(bus, "GetConnectionCredentials", sender);
    const auto facts = qdbus_cast<QVariantMap>(answer.arguments().value(0));
    const auto uid = facts.constFind(QStringLiteral("UnixUserID"));
    const auto pid = facts.constFind(QStringLiteral("ProcessID"));
    if (uid == facts.cend() || pid == facts.cend()) return std::nullopt;
    PortCaller caller{.uid = uid->toUInt(), .pid = static_cast<pid_t>(pid->toUInt()), .process = nullptr};
    caller.process = std::make_shared<UniqueFd>(static_cast<int>(::syscall(SYS_pidfd_open, caller.pid, 0)));
    // Still connected: so the process did live when its number was opened, and the number was not another's by then.
    if (!askBus(bus, "NameHasOwner", sender).arguments().value(0).toBool()) return std::nullopt;
    return caller;
}

} // namespace

QByteArray PortAdaptor::Message(int id, const QByteArray& body, const QDBusMessage& message)
{
    handle(id, body, UniqueFd(), message);
    return {};
}

QByteArray PortAdaptor::MessageWithDescriptor(int id, const QByteArray& body, const QDBusUnixFileDescriptor& descriptor,
                                              const QDBusMessage& message)
{
    handle(id, body, UniqueFd(::fcntl(descriptor.fileDescriptor(), F_DUPFD_CLOEXEC, 0)), message);
    return {};
}

void PortAdaptor::handle(int id, const QByteArray& body, UniqueFd descriptor, const QDBusMessage& message)
{
    message.setDelayedReply(true);
    auto caller = callerOf(mBus, message.service());
    if (!caller) return; // nobody to answer
    const auto* first = reinterpret_cast<const std::byte*>(body.constData());
    mHandler({.id = id,
              .body = {first, first + body.size()},
              .caller = *std::move(caller),
              .descriptor = std::move(descriptor)},
             [bus = mBus, message](const std::vector<std::byte>& reply) {
                 const QByteArray bytes(reinterpret_cast<const char*>(reply.data()),
                                        static_cast<qsizetype>(reply.size()));
                 bus.send(message.createReply(QVariant(bytes)));
             });
}

} // namespace platform
