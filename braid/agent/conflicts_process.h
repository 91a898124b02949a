#pragma once

#include <QDBusServiceWatcher>
#include <QObject>
#include <QProcess>

#include <functional>

#include "pass_engine.h"
#include "platform/linux/bus_connection.h"

namespace braid::agent
{

/// BraidConflicts as a child of this process. It says that its window is up by taking its name on the bus.
class ConflictsProcess final : public QObject, public ConflictsApp
{
    Q_OBJECT

public:
    explicit ConflictsProcess(platform::BusConnection& bus);
    ~ConflictsProcess() override;

    State state() const override;
    void show(bool withSetAside) override;
    void end() override;
    void setStateListener(std::function<void()> changed) override { mChanged = std::move(changed); }

private:
    void start(bool withSetAside);
    void nameAppeared();
    void nameVanished();
    void processEnded();
    void tellLater();

    platform::BusConnection& mBus;
    std::function<void()> mChanged;
    QDBusServiceWatcher mWatcher;
    QProcess mProcess;
    bool mIsShown = false;
    bool mWasShown = false; ///< The running process had its window up.
    bool mIsWanted = false; ///< Again, as soon as the process that closes its window has ended.
    bool mSaidNoDisplay = false;
};

} // namespace braid::agent
