#include "bus_connection.h"

#include <QDBusMessage>
#include <QFile>
#include <atomic>
#include <cstdlib>
#include <mutex>
#include <set>
#include <string>

namespace platform
{

namespace
{

constexpr int kPingMilliseconds = 5000;

std::mutex gOpenMutex;
std::set<BusConnection*> gOpen;

QString uniqueConnectionName()
{
    static std::atomic<int> serial = 0;
    return QStringLiteral("roamer-%1").arg(++serial);
}

QString variable(const char* name)
{
    const char* value = std::getenv(name);
    return value != nullptr ? QString::fromLocal8Bit(value) : QString();
}

QString busAddress(Bus bus)
{
    if (bus == Bus::System) {
        const QString address = variable("DBUS_SYSTEM_BUS_ADDRESS");
        return address.isEmpty() ? QStringLiteral("unix:path=/run/dbus/system_bus_socket") : address;
    }
    if (const QString address = variable("DBUS_SESSION_BUS_ADDRESS"); !address.isEmpty()) return address;
    const QString socket = variable("XDG_RUNTIME_DIR") + QStringLiteral("/bus");
    return QFile::exists(socket) ? QStringLiteral("unix:path=") + socket : QString();
}

QDBusConnection openBus(Bus bus, const QString& name)
{
    const QString address = busAddress(bus);
    // An unconnected connection stands for "no bus": every call on it fails at once.
    if (address.isEmpty()) return QDBusConnection(name);
    return QDBusConnection::connectToBus(address, name);
}

} // namespace

BusConnection::BusConnection(Bus bus) : mName(uniqueConnectionName()), mConnection(openBus(bus, mName))
{
    const std::lock_guard lock(gOpenMutex);
    gOpen.insert(this);
}

BusConnection::~BusConnection()
{
    {
        const std::lock_guard lock(gOpenMutex);
        gOpen.erase(this);
    }
    QDBusConnection::disconnectFromBus(mName);
}

bool BusConnection::hasOwner(const QString& serviceName)
{
    if (!mConnection.isConnected()) return false;
    auto question =
        QDBusMessage::createMethodCall(QStringLiteral("org.freedesktop.DBus"), QStringLiteral("/org/freedesktop/DBus"),
                                       QStringLiteral("org.freedesktop.DBus"), QStringLiteral("NameHasOwner"));
    question << serviceName;
    const QDBusMessage reply = mConnection.call(question);
    return reply.type() == QDBusMessage::ReplyMessage && reply.arguments().value(0).toBool();
}

bool BusConnection::flush()
{
    if (!mConnection.isConnected()) return false;
    const auto ping =
        QDBusMessage::createMethodCall(QStringLiteral("org.freedesktop.DBus"), QStringLiteral("/org/freedesktop/DBus"),
                                       QStringLiteral("org.freedesktop.DBus.Peer"), QStringLiteral("Ping"));
    return mConnection.call(ping, QDBus::Block, kPingMilliseconds).type() == QDBusMessage::ReplyMessage;
}

void BusConnection::flushAll()
{
    const std::lock_guard lock(gOpenMutex);
    for (auto* connection : gOpen)
        connection->flush();
}

} // namespace platform
