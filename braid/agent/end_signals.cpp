#include "end_signals.h"

#include <csignal>

#include <sys/signalfd.h>
#include <unistd.h>

#include "agent_place.h"
#include "util/debug_log.h"

namespace braid::agent
{

namespace
{

sigset_t endingSignals()
{
    sigset_t signals;
    sigemptyset(&signals);
    sigaddset(&signals, SIGTERM);
    sigaddset(&signals, SIGINT);
    sigaddset(&signals, AgentPlace::kLeaveSignal);
    return signals;
}

} // namespace

void EndSignals::block()
{
    const auto signals = endingSignals();
    ::pthread_sigmask(SIG_BLOCK, &signals, nullptr);
}

void EndSignals::unblock()
{
    const auto signals = endingSignals();
    ::pthread_sigmask(SIG_UNBLOCK, &signals, nullptr);
}

EndSignals::EndSignals(platform::BusConnection& bus, std::function<void(Wish)> wished) : mWished(std::move(wished))
{
    const auto signals = endingSignals();
    mDescriptor = ::signalfd(-1, &signals, SFD_CLOEXEC | SFD_NONBLOCK);
    mNotifier = std::make_unique<QSocketNotifier>(mDescriptor, QSocketNotifier::Read);
    connect(mNotifier.get(), &QSocketNotifier::activated, this, [this] { signalCame(); });
    bus.connection().connect(QString(), QStringLiteral("/org/freedesktop/DBus/Local"),
                             QStringLiteral("org.freedesktop.DBus.Local"), QStringLiteral("Disconnected"), this,
                             SLOT(busLost()));
}

EndSignals::~EndSignals()
{
    mNotifier.reset();
    ::close(mDescriptor);
}

void EndSignals::signalCame()
{
    signalfd_siginfo info{};
    if (::read(mDescriptor, &info, sizeof info) != static_cast<ssize_t>(sizeof info)) return;
    roamer::DebugLog(1, "agent: end signal=%u", info.ssi_signo);
    mWished(info.ssi_signo == AgentPlace::kLeaveSignal ? Wish::Leave : Wish::End);
}

void EndSignals::busLost()
{
    roamer::DebugLog(1, "agent: end reason=\"the message bus is gone\"");
    mWished(Wish::End);
}

} // namespace braid::agent
