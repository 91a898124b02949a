#pragma once

#include <QByteArray>
#include <QDBusAbstractAdaptor>

#include "port_server.h"

namespace platform
{

/// What the bus sees of a message port: the one method.
class PortAdaptor final : public QDBusAbstractAdaptor
{
    Q_OBJECT
    Q_CLASSINFO("D-Bus Interface", "com.kestrel.MessagePort")

public:
    PortAdaptor(QObject* parent, PortServer::Handler handler)
        : QDBusAbstractAdaptor(parent), mHandler(std::move(handler))
    {
    }

public Q_SLOTS:
    QByteArray Message(int id, const QByteArray& body);

private:
    PortServer::Handler mHandler;
};

} // namespace platform
