#pragma once

#include <QDBusAbstractAdaptor>
#include <QDBusMessage>
#include <QVariantMap>

#include "platform/linux/bus_connection.h"
#include "sync_agent.h"

namespace braid::agent
{

/// SyncAgent on the session bus: exactly these calls and this signal.
class BusService final : public QDBusAbstractAdaptor
{
    Q_OBJECT
    Q_CLASSINFO("D-Bus Interface", "com.kestrel.braid.Engine")

public:
    /// Serves at `parent`; everything is borrowed.
    BusService(SyncAgent& agent, platform::BusConnection& bus, QObject* parent);

    /// Takes the bus name; false when another engine has it.
    bool takeName();

public Q_SLOTS:
    QVariantMap describeSet();
    void createSet(const QVariantMap& properties, const QDBusMessage& message);
    void configureSet(const QVariantMap& changes, const QDBusMessage& message);
    void forgetSet(const QDBusMessage& message);
    qulonglong startSync(const QDBusMessage& message);
    void abortSync();
    QVariantMap info();
    qlonglong lastSyncResult();

Q_SIGNALS:
    void statusChanged(qulonglong serial, const QVariantMap& status);

private:
    void answer(const QDBusMessage& message, const std::optional<SyncAgent::Refused>& refused);

    SyncAgent& mAgent;
    platform::BusConnection& mBus;
};

} // namespace braid::agent
