#include "window_process.h"

#include <QCoreApplication>
#include <QJsonArray>
#include <QJsonDocument>
#include <utility>

#include "util/debug_log.h"
#include "window_protocol.h"

namespace platform
{

namespace
{

using namespace window_protocol;

/// A program that starts has fonts to load and, at a login, a busy disk.
constexpr int kStartMilliseconds = 10'000;
constexpr int kKeysMilliseconds = 1'000;
constexpr int kFarewellMilliseconds = 2'000;

/// A person cannot fill this between two steps; a broken program could.
constexpr std::size_t kMostEvents = 64;

roamer::WindowFrame frameOf(const QJsonValue& value)
{
    const auto numbers = value.toArray();
    const auto number = [&](int index) { return static_cast<float>(numbers.at(index).toDouble()); };
    return {number(0), number(1), number(2), number(3)};
}

std::vector<roamer::WindowFrame> screensOf(const QJsonValue& value)
{
    std::vector<roamer::WindowFrame> screens;
    for (const auto& screen : value.toArray())
        screens.push_back(frameOf(screen));
    return screens;
}

ModifierKeys keysOf(const QJsonObject& object)
{
    return {object[kOptionKey].toBool(), object[kShiftKey].toBool()};
}

/// Sees a process end that was let go, without anybody waiting for it. The application owns it.
class Farewell final : public QObject
{
public:
    explicit Farewell(std::unique_ptr<QProcess> process)
        : QObject(QCoreApplication::instance()), mProcess(std::move(process))
    {
        mProcess->closeReadChannel(QProcess::StandardOutput);
        mProcess->closeWriteChannel();
        connect(mProcess.get(), &QProcess::finished, this, &QObject::deleteLater);
        QTimer::singleShot(kFarewellMilliseconds, this, [this] { mProcess->kill(); });
    }
    ~Farewell() override
    {
        mProcess->disconnect();
        if (mProcess->state() == QProcess::NotRunning || mProcess->waitForFinished(kFarewellMilliseconds)) return;
        mProcess->kill();
        mProcess->waitForFinished();
    }
    Farewell(const Farewell&) = delete;
    Farewell& operator=(const Farewell&) = delete;

private:
    std::unique_ptr<QProcess> mProcess;
};

} // namespace

std::shared_ptr<WindowProcess> WindowProcess::start(const std::string& program)
{
    const std::shared_ptr<WindowProcess> started(new WindowProcess(program));
    if (started->waitUntil([&] { return started->mGreeted; }, kStartMilliseconds)) return started;
    roamer::DebugLog(2, "WindowProcess.start: no window can be shown: %s, exit status %d",
                     started->mProcess->errorString().toUtf8().constData(), started->mProcess->exitCode());
    return nullptr;
}

WindowProcess::WindowProcess(const std::string& program) : mProcess(std::make_unique<QProcess>())
{
    mFlushSoon.setSingleShot(true);
    QObject::connect(&mFlushSoon, &QTimer::timeout, &mFlushSoon, [this] { flush(); });
    QObject::connect(mProcess.get(), &QProcess::readyReadStandardOutput, &mFlushSoon, [this] { readLines(); });
    // Standard error stays the agent's: what the toolkit complains about belongs there.
    mProcess->setProcessChannelMode(QProcess::ForwardedErrorChannel);
    mProcess->start(QString::fromStdString(program), QStringList());
}

WindowProcess::~WindowProcess()
{
    mProcess->disconnect();
    // NOLINTNEXTLINE(bugprone-unhandled-exception-at-new): without memory for this the agent is at its end anyway.
    if (mProcess->state() != QProcess::NotRunning) new Farewell(std::move(mProcess));
}

template <typename Condition>
bool WindowProcess::waitUntil(const Condition& condition, int milliseconds)
{
    QElapsedTimer timer;
    timer.start();
    while (!condition()) {
        // Not an event loop: nothing else of the agent may run while it waits here.
        const auto left = milliseconds - timer.elapsed();
        if (left <= 0 || mProcess->state() == QProcess::NotRunning) return false;
        mProcess->waitForReadyRead(static_cast<int>(left));
    }
    return true;
}

bool WindowProcess::load(const std::string& layout)
{
    send({{kLoad, QString::fromStdString(layout)}});
    const auto isAnswered = [this] { return mLoaded && (!*mLoaded || mReport.buttonWidth > 0); };
    return waitUntil(isAnswered, kStartMilliseconds) && mLoaded.value_or(false);
}

std::optional<ModifierKeys> WindowProcess::modifierKeys()
{
    mKeys.reset();
    send({{kKeys, true}});
    waitUntil([this] { return mKeys.has_value(); }, kKeysMilliseconds);
    return mKeys;
}

int WindowProcess::set(const char* property, const QJsonValue& value)
{
    mChanged[property] = value;
    if (!mFlushSoon.isActive()) mFlushSoon.start(0);
    return mSent + 1;
}

void WindowProcess::flush()
{
    if (mChanged.isEmpty() || mReport.applied != mSent || !isRunning()) return;
    auto message = std::exchange(mChanged, {});
    message[kUpdate] = ++mSent;
    send(message);
}

void WindowProcess::receive()
{
    if (isRunning()) mProcess->waitForReadyRead(0);
}

std::optional<WindowProcess::Event> WindowProcess::takeEvent()
{
    if (mEvents.empty()) return std::nullopt;
    auto event = std::move(mEvents.front());
    mEvents.pop_front();
    return event;
}

void WindowProcess::send(const QJsonObject& message)
{
    if (mProcess->state() == QProcess::NotRunning) return;
    mProcess->write(QJsonDocument(message).toJson(QJsonDocument::Compact) + '\n');
}

void WindowProcess::readLines()
{
    while (mProcess->canReadLine()) {
        const auto line = QJsonDocument::fromJson(mProcess->readLine());
        if (line.isObject()) handle(line.object());
    }
    if (mProcess->bytesAvailable() <= kLongestLine) return;
    roamer::DebugLog(1, "WindowProcess: the window's program sends nonsense, ending it");
    mProcess->kill();
}

void WindowProcess::handle(const QJsonObject& message)
{
    if (message.contains(kHello)) mGreeted = message[kHello].toInt() == kVersion;
    if (message.contains(kLoaded)) mLoaded = message[kLoaded].toBool();
    if (message.contains(kKeys)) mKeys = keysOf(message);
    if (message.contains(kScreens)) mReport.screens = screensOf(message[kScreens]);
    if (message.contains(kEvent) && mEvents.size() < kMostEvents) {
        mEvents.push_back({message[kEvent].toString().toStdString(), keysOf(message)});
    }
    if (!message.contains(kReport)) return;
    mReport.applied = message[kApplied].toInt();
    mReport.frame = frameOf(message[kFrame]);
    mReport.buttonWidth = static_cast<float>(message[kButtonWidth].toDouble());
    mReport.isMinimized = message[kMinimized].toBool();
    mReport.isActive = message[kActive].toBool();
    flush();
}

} // namespace platform
