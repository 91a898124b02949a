#include "end_signals.h"

#include <QSocketNotifier>

#include <atomic>
#include <cerrno>
#include <csignal>
#include <cstdint>
#include <utility>

#include <sys/eventfd.h>
#include <unistd.h>

#include "util/debug_log.h"

namespace platform
{

namespace
{

constexpr unsigned kLongestEndSeconds = 30;
constexpr int kSignals[] = {SIGTERM, SIGINT, SIGHUP};

std::atomic<int> gEvent{-1};

// Only what is safe while anything else of the process is interrupted.
void noteSignal(int /*signal*/)
{
    const int before = errno;
    const std::uint64_t one = 1;
    [[maybe_unused]] const auto written = ::write(gEvent.load(), &one, sizeof one);
    ::alarm(kLongestEndSeconds); // its default action is the end of the process
    errno = before;
}

void setHandler(void (*handler)(int))
{
    struct sigaction action {
    };
    action.sa_handler = handler;
    action.sa_flags = SA_RESTART;
    for (const int signal : kSignals) {
        ::sigaction(signal, &action, nullptr);
    }
}

} // namespace

EndSignals::EndSignals(std::function<void()> end)
    : mEvent(::eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK)), mEnd(std::move(end))
{
    if (!mEvent.isOpen()) return;
    mNotifier = std::make_unique<QSocketNotifier>(mEvent.get(), QSocketNotifier::Read);
    QObject::connect(mNotifier.get(), &QSocketNotifier::activated, [this] { signalCame(); });
    gEvent = mEvent.get();
    setHandler(noteSignal);
}

EndSignals::~EndSignals()
{
    if (!mEvent.isOpen()) return;
    setHandler(SIG_DFL);
    gEvent = -1;
}

int EndSignals::pendingDescriptor()
{
    return gEvent.load();
}

void EndSignals::signalCame()
{
    std::uint64_t count = 0;
    if (::read(mEvent.get(), &count, sizeof count) != static_cast<ssize_t>(sizeof count)) return;
    roamer::DebugLog(1, "Roamer: asked to end by a signal");
    mEnd();
}

} // namespace platform
