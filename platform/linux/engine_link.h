#pragma once

#include <QDBusMessage>
#include <QObject>
#include <QVariantMap>

#include <memory>
#include <optional>
#include <string>

#include "platform/linux/bus_connection.h"
#include "platform/linux/process_start.h"
#include "platform/linux/sync_engine.h"
#include "platform/sync_engine.h"

namespace platform
{

/// One process's line to BraidAgent: calls that start nothing, the rule that starts it, and its status signal.
class EngineLink : public QObject
{
    Q_OBJECT

public:
    EngineLink(RunLoop& runLoop, EngineStarter starter);

    bool isRunning();

    /// Starts the engine unless one runs or starts are held, and waits for its name in slices of the run loop. False
    /// when no engine came.
    bool ensureRunning();

    /// Only this process is the engine; 0: whichever has its name.
    void expectProcess(int pid) { mExpectedPid = pid; }

    /// Nothing is started as long as any of the answers lives.
    std::shared_ptr<void> holdStarts() { return mStartHolds; }

    /// The reply's arguments. Raises Failure when the engine is gone, does not answer in time, or refuses the call.
    QVariantList call(const char* method, const QVariantList& arguments = {});

    /// As `call`, but nothing and a line in the log instead of a Failure.
    std::optional<QVariantList> ask(const char* method);

    /// Asks for a pass; statuses that were sent about earlier passes and have not been delivered yet never will be: a
    /// late "idle" would otherwise be taken for the end of the new pass.
    void startSync();

    StatusCallback mStatusCallback; ///< The set's; shared by all handles.

public Q_SLOTS:
    void takeStatus(qulonglong serial, const QVariantMap& status, const QDBusMessage& message);

private:
    QDBusMessage send(const char* method, const QVariantList& arguments);
    bool startProcess();
    /// `process`, when given: ends early with it.
    bool waitForName(const DetachedProcess* process);
    /// A flow asks for the engine several times; the administrator hears of one failure, until an engine runs again.
    void reportOnce(const std::string& text);
    BusConnection& bus();

    RunLoop& mRunLoop;
    EngineStarter mStarter;
    std::unique_ptr<BusConnection> mBus;
    std::optional<DetachedProcess> mProcess; ///< The engine that was started and has not appeared.
    int mExpectedPid = 0;
    bool mIsStarting = false;
    bool mHasReported = false;
    std::shared_ptr<void> mStartHolds = std::make_shared<int>(0); ///< Counts by its references.
    QString mPassOwner;         ///< The engine (its unique bus name) that the pass was asked of …
    qulonglong mPassSerial = 0; ///< … and the pass.
};

} // namespace platform
