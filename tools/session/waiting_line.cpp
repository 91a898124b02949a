#include "waiting_line.h"

#include <array>
#include <cerrno>
#include <poll.h>
#include <sys/socket.h>

namespace roamer::session
{

namespace
{

constexpr char kPhaseMark = 'P';
constexpr char kMayGoOnMark = '+';
constexpr char kQuietMark = '='; ///< May go on, and there is nothing to tell.
constexpr char kMustStopMark = '-';
constexpr std::size_t kLongestMessage = 1024;

void send(int descriptor, const std::string& message)
{
    // Nobody may be there any more, which is no concern of the sender's.
    static_cast<void>(::send(descriptor, message.data(), std::min(message.size(), kLongestMessage), MSG_NOSIGNAL));
}

/// -1: no limit.
int remainingMilliseconds(std::optional<std::chrono::steady_clock::time_point> end)
{
    if (!end) return -1;
    const auto left = std::chrono::ceil<std::chrono::milliseconds>(*end - std::chrono::steady_clock::now()).count();
    return left > 0 ? static_cast<int>(left) : 0;
}

} // namespace

std::optional<WaitingLine::Ends> WaitingLine::open()
{
    int ends[2];
    if (::socketpair(AF_UNIX, SOCK_SEQPACKET | SOCK_CLOEXEC, 0, ends) != 0) return std::nullopt;
    return Ends{WaitingLine(ends[0]), WaitingLine(ends[1])};
}

void WaitingLine::tell(Phase phase) const
{
    send(mDescriptor.get(), {kPhaseMark, static_cast<char>(phase)});
}

void WaitingLine::tell(const Outcome& outcome) const
{
    const char goesOn = outcome.isTold ? kMayGoOnMark : kQuietMark;
    send(mDescriptor.get(), (outcome.mayGoOn ? goesOn : kMustStopMark) + outcome.words);
}

bool WaitingLine::isWatched() const
{
    pollfd question{mDescriptor.get(), 0, 0};
    return ::poll(&question, 1, 0) == 0;
}

WaitingLine::Heard WaitingLine::listen(std::optional<std::chrono::seconds> time) const
{
    std::optional<std::chrono::steady_clock::time_point> end;
    if (time) end = std::chrono::steady_clock::now() + *time;
    Heard heard;
    std::array<char, kLongestMessage> buffer{};
    pollfd question{mDescriptor.get(), POLLIN, 0};
    while (true) {
        const int ready = ::poll(&question, 1, remainingMilliseconds(end));
        if (ready == 0) return heard;
        const ssize_t got = ready > 0 ? ::recv(mDescriptor.get(), buffer.data(), buffer.size(), 0) : -1;
        if (got < 0 && errno == EINTR) continue;
        const std::string message(buffer.data(), got > 0 ? static_cast<std::size_t>(got) : 0);
        if (message.size() == 2 && message[0] == kPhaseMark) {
            heard.phase = static_cast<Phase>(message[1]);
            continue;
        }
        heard.isOver = true;
        if (!message.empty()) {
            heard.outcome = Outcome{message[0] != kMustStopMark, message[0] != kQuietMark, message.substr(1)};
        }
        return heard;
    }
}

} // namespace roamer::session
