#include "window_server.h"

#include <QGuiApplication>
#include <QJsonDocument>
#include <QScreen>
#include <array>
#include <cerrno>
#include <fcntl.h>
#include <unistd.h>

#include "platform/linux/window_protocol.h"
#include "screen_frames.h"

namespace windows
{

namespace
{

using namespace platform::window_protocol;

/// The least time from one report to the next, and so from one update to the next.
constexpr int kReportPauseMilliseconds = 33;

QJsonObject withKeys(QJsonObject message, Qt::KeyboardModifiers keys)
{
    message[kOptionKey] = keys.testFlag(Qt::AltModifier);
    message[kShiftKey] = keys.testFlag(Qt::ShiftModifier);
    return message;
}

} // namespace

WindowServer::WindowServer(int input, int output)
    : mOutputDescriptor(output), mInput(input, QSocketNotifier::Read), mOutput(output, QSocketNotifier::Write)
{
    mOutput.setEnabled(false);
    // The agent may be busy with something else for a while; the window must not wait for it.
    for (const int descriptor : {input, output})
        ::fcntl(descriptor, F_SETFL, ::fcntl(descriptor, F_GETFL) | O_NONBLOCK);
    connect(&mInput, &QSocketNotifier::activated, this, &WindowServer::read);
    connect(&mOutput, &QSocketNotifier::activated, this, &WindowServer::write);

    mReport.setSingleShot(true);
    connect(&mReport, &QTimer::timeout, this, &WindowServer::report);
    const auto watch = [this](const QScreen* screen) {
        connect(screen, &QScreen::geometryChanged, this, &WindowServer::reportSoon);
    };
    for (const auto* screen : QGuiApplication::screens())
        watch(screen);
    connect(qGuiApp, &QGuiApplication::screenAdded, this, watch);
    for (const auto change :
         {&QGuiApplication::screenAdded, &QGuiApplication::screenRemoved, &QGuiApplication::primaryScreenChanged})
        connect(qGuiApp, change, this, &WindowServer::reportSoon);
}

void WindowServer::greet()
{
    send({{kHello, kVersion}, {kScreens, screenFrames()}});
}

void WindowServer::read()
{
    std::array<char, 4096> buffer{};
    const auto got = ::read(static_cast<int>(mInput.socket()), buffer.data(), buffer.size());
    if (got < 0 && (errno == EAGAIN || errno == EINTR)) return;
    if (got > 0) mRead.append(buffer.data(), got);
    if (got <= 0 || mRead.size() > kLongestLine) {
        mInput.setEnabled(false);
        Q_EMIT finished();
        return;
    }
    for (qsizetype end = 0; (end = mRead.indexOf('\n')) >= 0;) {
        const auto line = QJsonDocument::fromJson(mRead.left(end));
        mRead.remove(0, end + 1);
        handle(line.object());
    }
}

void WindowServer::handle(const QJsonObject& message)
{
    if (message.contains(kLoad)) load(message[kLoad].toString());
    if (message.contains(kKeys)) {
        send(withKeys({{kKeys, true}}, QGuiApplication::queryKeyboardModifiers()));
    }
    if (message.contains(kUpdate) && mWindow) {
        mWindow->apply(message);
        mApplied = message[kUpdate].toInt();
        reportSoon();
    }
}

void WindowServer::load(const QString& layout)
{
    auto widgets = loadProgressLayout(layout);
    const bool isLoaded = widgets.window != nullptr;
    send({{kLoaded, isLoaded}});
    if (!isLoaded) return;
    mWindow = std::make_unique<ProgressWindow>(std::move(widgets));
    connect(mWindow.get(), &ProgressWindow::changed, this, &WindowServer::reportSoon);
    connect(mWindow.get(), &ProgressWindow::personDid, this, [this](const char* event, Qt::KeyboardModifiers keys) {
        send(withKeys({{kEvent, QLatin1String(event)}}, keys));
    });
    report();
}

void WindowServer::reportSoon()
{
    if (mReport.isActive()) return;
    const auto passed = mSinceReport.isValid() ? mSinceReport.elapsed() : kReportPauseMilliseconds;
    mReport.start(static_cast<int>(std::clamp<qint64>(kReportPauseMilliseconds - passed, 0, kReportPauseMilliseconds)));
}

void WindowServer::report()
{
    if (!mWindow) return;
    // What the agent has not read yet is enough for it; the next report waits, with the newest state.
    if (!mToWrite.isEmpty()) return mReport.start(kReportPauseMilliseconds);
    const QJsonObject now{{kReport, true},
                          {kApplied, mApplied},
                          {kFrame, mWindow->frame()},
                          {kMinimized, mWindow->isMinimized()},
                          {kActive, mWindow->isActive()},
                          {kButtonWidth, mWindow->buttonWidth()},
                          {kScreens, screenFrames()}};
    if (now == mReported) return;
    mReported = now;
    mSinceReport.start();
    send(now);
}

void WindowServer::send(const QJsonObject& message)
{
    mToWrite += QJsonDocument(message).toJson(QJsonDocument::Compact) + '\n';
    write();
}

void WindowServer::write()
{
    const auto written = ::write(mOutputDescriptor, mToWrite.constData(), static_cast<std::size_t>(mToWrite.size()));
    if (written > 0) mToWrite.remove(0, written);
    if (written < 0 && errno != EAGAIN && errno != EINTR) mToWrite.clear(); // the end of the input says the rest
    mOutput.setEnabled(!mToWrite.isEmpty());
}

} // namespace windows
