#include "engine_link.h"

#include <cerrno>
#include <csignal>
#include <system_error>
#include <utility>

#include <QDBusConnectionInterface>

#include <unistd.h>

#include "braid/protocol.h"
#include "platform/failure.h"
#include "platform/linux/bus_values.h"
#include "platform/system_root.h"
#include "util/debug_log.h"
#include "util/report.h"

namespace platform
{

namespace
{

namespace protocol = braid::protocol;

constexpr int kCallMilliseconds = 10'000;
constexpr double kNameWaitSeconds = 10;
constexpr double kSliceSeconds = 0.1;

constexpr const char* kEngineUnreachable = "EngineUnreachable";

QString latin(const char* text)
{
    return QString::fromLatin1(text);
}

Failure failureFrom(const QDBusMessage& reply)
{
    const QString prefix = latin(protocol::kErrorPrefix);
    const QString name = reply.errorName();
    const std::string reason = reply.errorMessage().toStdString();
    if (name.startsWith(prefix)) return {name.mid(prefix.size()).toStdString(), reason};
    return {kEngineUnreachable, reason.empty() ? "the sync engine does not answer" : reason};
}

} // namespace

EngineLink::EngineLink(RunLoop& runLoop, EngineStarter starter) : mRunLoop(runLoop), mStarter(std::move(starter)) {}

BusConnection& EngineLink::bus()
{
    if (mBus && mBus->isConnected()) return *mBus;
    mBus = std::make_unique<BusConnection>(Bus::Session);
    mBus->connection().connect(latin(protocol::kBusName), latin(protocol::kObjectPath), latin(protocol::kInterface),
                               latin(protocol::kStatusChanged), this,
                               SLOT(takeStatus(qulonglong, QVariantMap, QDBusMessage)));
    return *mBus;
}

bool EngineLink::isRunning()
{
    if (!bus().hasOwner(latin(protocol::kBusName))) return false;
    if (mExpectedPid == 0) return true;
    const QDBusReply<uint> pid = bus().connection().interface()->servicePid(latin(protocol::kBusName));
    return pid.isValid() && pid.value() == static_cast<uint>(mExpectedPid);
}

bool EngineLink::startProcess()
{
    if (mStarter) return mStarter();
    auto process =
        DetachedProcess::start(systemPath(protocol::kProgram),
                               {protocol::kUidArgument, std::to_string(::getuid()), protocol::kSessionArgument});
    if (process.error() != 0) {
        reportOnce("Pavo.syncEngine: starting \"" + std::string(protocol::kProgram) +
                   "\" failed: " + std::generic_category().message(process.error()));
        return false;
    }
    mProcess.emplace(std::move(process));
    return true;
}

void EngineLink::reportOnce(const std::string& text)
{
    if (!std::exchange(mHasReported, true)) roamer::report(text);
}

bool EngineLink::ensureRunning()
{
    if (isRunning()) {
        mHasReported = false;
        return true;
    }
    if (mRunLoop.waitsShallEnd()) return false;
    // The slices of the wait deliver commands, which may read the set again while the engine is on its way.
    const bool startsAreHeld = mStartHolds.use_count() > 1;
    if (mIsStarting || startsAreHeld) return waitForName(nullptr);
    // A flow asks several times; only the first one waits for an engine that hangs before it takes its name.
    if (mProcess && !mProcess->hasEnded()) return false;
    mIsStarting = true;
    mProcess.reset();
    const bool running = startProcess() && waitForName(mProcess ? &*mProcess : nullptr);
    mIsStarting = false;
    if (running) {
        mProcess.reset();
    } else {
        reportOnce("Pavo.syncEngine: the sync engine was started but did not appear");
    }
    return running;
}

bool EngineLink::waitForName(const DetachedProcess* process)
{
    const auto deadline = mRunLoop.now() + seconds(kNameWaitSeconds);
    while (!isRunning()) {
        // An engine that ended early may have lost a race against another one, whose name is there by then, or comes
        // as soon as a login's engine has left the home.
        const bool hasEnded = process != nullptr && process->hasEnded();
        if (hasEnded && !bus().hasOwner(latin(protocol::kWaitingBusName))) return isRunning();
        if (mExpectedPid != 0 && ::kill(mExpectedPid, 0) != 0 && errno == ESRCH) return false;
        if (mRunLoop.now() >= deadline || mRunLoop.waitsShallEnd()) return false;
        mRunLoop.runFor(seconds(kSliceSeconds));
    }
    return true;
}

QDBusMessage EngineLink::send(const char* method, const QVariantList& arguments)
{
    auto message = QDBusMessage::createMethodCall(latin(protocol::kBusName), latin(protocol::kObjectPath),
                                                  latin(protocol::kInterface), latin(method));
    message.setAutoStartService(false);
    message.setArguments(arguments);
    const QDBusMessage reply = bus().connection().call(message, QDBus::Block, kCallMilliseconds);
    if (reply.type() != QDBusMessage::ReplyMessage) throw failureFrom(reply);
    return reply;
}

QVariantList EngineLink::call(const char* method, const QVariantList& arguments)
{
    return send(method, arguments).arguments();
}

std::optional<QVariantList> EngineLink::ask(const char* method)
{
    try {
        return call(method);
    } catch (const Failure& failure) {
        roamer::DebugLog(1, "Pavo.syncEngine: %s caught exception: name=\"%s\", reason=\"%s\"", method,
                         failure.name().c_str(), failure.reason().c_str());
        return std::nullopt;
    }
}

void EngineLink::startSync()
{
    const QDBusMessage reply = send(protocol::kStartSync, {});
    mPassOwner = reply.service();
    mPassSerial = reply.arguments().value(0).toULongLong();
}

void EngineLink::takeStatus(qulonglong serial, const QVariantMap& status, const QDBusMessage& message)
{
    if (message.service() == mPassOwner && serial < mPassSerial) return;
    // A copy: the callback may put another one in its place.
    const auto callback = mStatusCallback;
    if (callback) callback(fromBusValues(status));
}

} // namespace platform
