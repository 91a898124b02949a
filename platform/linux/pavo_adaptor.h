#pragma once

#include <QDBusAbstractAdaptor>
#include <QDBusConnection>
#include <QDBusMessage>

#include "platform/object_messaging.h"

namespace platform
{

inline constexpr const char* kPavoObjectPath = "/com/kestrel/roamer";
inline constexpr const char* kPavoInterface = "com.kestrel.roamer";

/// What the bus sees of the agent: these five methods; the bus library refuses every other member.
class PavoAdaptor final : public QDBusAbstractAdaptor
{
    Q_OBJECT
    Q_CLASSINFO("D-Bus Interface", "com.kestrel.roamer")

public:
    /// Both are borrowed until `detach`.
    PavoAdaptor(QObject* parent, Pavo_Server& root, const QDBusConnection& connection)
        : QDBusAbstractAdaptor(parent), mRoot(&root), mConnection(connection)
    {
    }
    /// From now on messages that were already under way are dropped.
    void detach() { mRoot = nullptr; }

public Q_SLOTS:
    Q_NOREPLY void pavo_quit(const QDBusMessage& message);
    Q_NOREPLY void pavo_refreshPreferences(const QDBusMessage& message);
    Q_NOREPLY void pavo_syncNow(const QDBusMessage& message);
    int pavo_doLogoutChecks(bool firstTimeSync, bool& prefSyncCompleted);
    int pavo_doLoginChecks(bool firstTimeSync, bool& prefSyncCompleted);

private:
    void oneWay(const QDBusMessage& message, void (Pavo_Server::*command)());

    Pavo_Server* mRoot;
    QDBusConnection mConnection;
};

} // namespace platform
