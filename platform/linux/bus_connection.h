#pragma once

#include <QDBusConnection>
#include <QString>

namespace platform
{

enum class Bus { Session, System };

/// A connection of its own to a message bus, closed when it goes. Nothing here ever starts a bus or a service.
///
/// The addresses are read anew for each connection (Qt's shared connections keep the first one for ever), so that a
/// process can be pointed at a private bus.
class BusConnection
{
public:
    explicit BusConnection(Bus bus);
    ~BusConnection();
    BusConnection(const BusConnection&) = delete;
    BusConnection& operator=(const BusConnection&) = delete;

    bool isConnected() const { return mConnection.isConnected(); }
    QDBusConnection& connection() { return mConnection; }

    bool hasOwner(const QString& serviceName);

    /// Returns once the bus has read everything that was sent so far: what a process sends right before its end is
    /// lost otherwise. False when the bus is gone.
    bool flush();

    /// Flushes every connection of this process.
    static void flushAll();

private:
    QString mName;
    QDBusConnection mConnection;
};

} // namespace platform
