#pragma once

#include <QDBusConnection>
#include <QObject>

namespace braid::window
{

/// The window's name on the bus, which says that it is up, and the call that brings it to the front.
class WindowService final : public QObject
{
    Q_OBJECT
    Q_CLASSINFO("D-Bus Interface", "com.kestrel.braid.Conflicts")

public:
    explicit WindowService(QDBusConnection bus);

    /// Asks a window that is up already to come to the front; false when there is none.
    bool wakeOther(bool withSetAside);
    /// False when another window was quicker.
    bool takeName();
    void giveUpName();

public Q_SLOTS:
    void show(bool withSetAside) { Q_EMIT wanted(withSetAside); }

Q_SIGNALS:
    void wanted(bool withSetAside);

private:
    QDBusConnection mBus;
};

} // namespace braid::window
