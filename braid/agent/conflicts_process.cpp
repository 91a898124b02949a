#include "conflicts_process.h"

#include <QDBusMessage>

#include <array>

#include "braid/protocol.h"
#include "end_signals.h"
#include "platform/system_root.h"
#include "util/debug_log.h"

namespace braid::agent
{

namespace
{

constexpr int kEndMilliseconds = 100;

bool thereIsADisplay()
{
    constexpr std::array kVariables = {"WAYLAND_DISPLAY", "DISPLAY", "QT_QPA_PLATFORM"};
    for (const char* variable : kVariables) {
        if (!qEnvironmentVariableIsEmpty(variable)) return true;
    }
    return false;
}

} // namespace

ConflictsProcess::ConflictsProcess(platform::BusConnection& bus)
    : mBus(bus), mWatcher(QString::fromLatin1(protocol::kWindowBusName), bus.connection())
{
    mIsShown = mBus.hasOwner(QString::fromLatin1(protocol::kWindowBusName));
    mProcess.setProcessChannelMode(QProcess::ForwardedErrorChannel);
    mProcess.setStandardInputFile(QProcess::nullDevice());
    mProcess.setChildProcessModifier([] { EndSignals::unblock(); });
    connect(&mWatcher, &QDBusServiceWatcher::serviceRegistered, this, [this] { nameAppeared(); });
    connect(&mWatcher, &QDBusServiceWatcher::serviceUnregistered, this, [this] { nameVanished(); });
    connect(&mProcess, &QProcess::finished, this, [this] { processEnded(); });
    connect(&mProcess, &QProcess::errorOccurred, this, [this](QProcess::ProcessError error) {
        if (error != QProcess::FailedToStart) return;
        roamer::DebugLog(0, "window: not started reason=\"%s\"", qPrintable(mProcess.errorString()));
        tellLater();
    });
}

ConflictsProcess::~ConflictsProcess()
{
    mChanged = nullptr;
    end();
    mProcess.waitForFinished(kEndMilliseconds);
}

ConflictsApp::State ConflictsProcess::state() const
{
    if (mIsShown) return State::Shown;
    return mProcess.state() != QProcess::NotRunning && !mWasShown ? State::Starting : State::Absent;
}

void ConflictsProcess::show(bool withSetAside)
{
    if (mIsShown) {
        auto message = QDBusMessage::createMethodCall(
            QString::fromLatin1(protocol::kWindowBusName), QString::fromLatin1(protocol::kWindowObjectPath),
            QString::fromLatin1(protocol::kWindowInterface), QString::fromLatin1(protocol::kWindowShow));
        message.setAutoStartService(false);
        message << withSetAside;
        mBus.connection().send(message);
    } else if (mProcess.state() == QProcess::NotRunning) {
        start(withSetAside);
    } else {
        mIsWanted = mWasShown;
    }
}

void ConflictsProcess::start(bool withSetAside)
{
    if (!thereIsADisplay()) {
        if (!std::exchange(mSaidNoDisplay, true)) roamer::DebugLog(1, "window: there is no display to show it on");
        return;
    }
    mWasShown = false;
    QStringList arguments;
    if (withSetAside) arguments << QString::fromLatin1(protocol::kWithSetAsideArgument);
    mProcess.start(QString::fromStdString(platform::systemPath(protocol::kWindowProgram)), arguments);
}

void ConflictsProcess::end()
{
    mIsWanted = false;
    if (mProcess.state() != QProcess::NotRunning) mProcess.terminate();
}

void ConflictsProcess::nameAppeared()
{
    mIsShown = true;
    mWasShown = true;
    if (mChanged) mChanged();
}

void ConflictsProcess::nameVanished()
{
    mIsShown = false;
    if (mChanged) mChanged();
}

void ConflictsProcess::processEnded()
{
    if (!mWasShown) {
        roamer::DebugLog(1, "window: ended before it was shown status=%d", mProcess.exitCode());
        if (mChanged) mChanged();
    }
    if (std::exchange(mIsWanted, false)) start(false);
}

void ConflictsProcess::tellLater()
{
    QMetaObject::invokeMethod(
        this,
        [this] {
            if (mChanged) mChanged();
        },
        Qt::QueuedConnection);
}

} // namespace braid::agent
