#pragma once

#include <QByteArray>
#include <QDBusAbstractAdaptor>
#include <QDBusConnection>
#include <QDBusMessage>
#include <QDBusUnixFileDescriptor>

#include "port_server.h"

namespace platform
{

/// What the bus sees of a message port. Every reply is a delayed one.
class PortAdaptor final : public QDBusAbstractAdaptor
{
    Q_OBJECT
    Q_CLASSINFO("D-Bus Interface", "com.kestrel.MessagePort")

public:
    PortAdaptor(QObject* parent, QDBusConnection bus, PortServer::Handler handler)
        : QDBusAbstractAdaptor(parent), mBus(std::move(bus)), mHandler(std::move(handler))
    {
    }

public Q_SLOTS:
    QByteArray Message(int id, const QByteArray& body, const QDBusMessage& message);
    QByteArray MessageWithDescriptor(int id, const QByteArray& body, const QDBusUnixFileDescriptor& descriptor,
                                     const QDBusMessage& message);

private:
    void handle(int id, const QByteArray& body, UniqueFd descriptor, const QDBusMessage& message);

    QDBusConnection mBus;
    PortServer::Handler mHandler;
};

} // namespace platform
