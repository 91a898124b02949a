#pragma once

#include <QDBusAbstractAdaptor>
#include <QDBusMessage>
#include <QVariantMap>

#include <string>

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
    BusService(SyncAgent& agent, std::string localHome, platform::BusConnection& bus, QObject* parent);

    /// Takes the bus name; false when another engine has it.
    bool takeName();
    void giveUpName();

public Q_SLOTS:
    QVariantMap describeSet();
    void createSet(const QVariantMap& properties, const QDBusMessage& message);
    void configureSet(const QVariantMap& changes, const QDBusMessage& message);
    void forgetSet(const QDBusMessage& message);
    qulonglong startSync(const QDBusMessage& message);
    void abortSync();
    QVariantMap info();
    qlonglong lastSyncResult();
    void displayConflictsAndErrors();
    QVariantMap matters();
    QVariantMap resolve(const QVariantList& paths, const QString& keep, const QDBusMessage& message);
    QVariantMap retry(const QVariantList& paths, const QDBusMessage& message);
    void setAside(const QVariantList& matters, bool aside, const QDBusMessage& message);

Q_SIGNALS:
    void statusChanged(qulonglong serial, const QVariantMap& status);

private:
    void answer(const QDBusMessage& message, const std::optional<SyncAgent::Refused>& refused);
    void refuse(const QDBusMessage& message, const SyncAgent::Refused& refused);
    /// The reply follows when the task is done.
    void serve(PersonTask::Verb verb, const QVariantList& paths, const QDBusMessage& message);

    SyncAgent& mAgent;
    std::string mLocalHome;
    platform::BusConnection& mBus;
};

} // namespace braid::agent
