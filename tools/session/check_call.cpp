#include "check_call.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <csignal>
#include <cstring>
#include <fcntl.h>
#include <poll.h>
#include <sys/prctl.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include "left_over.h"
#include "platform/failure.h"
#include "platform/linux/application.h"
#include "platform/linux/object_messaging.h"
#include "platform/linux/run_loop.h"
#include "user_process.h"

namespace roamer::session
{

namespace
{

using Outcome = CheckAnswer::Outcome;
using platform::UniqueFd;

constexpr const char* kAgentName = "com.kestrel.roamer";
constexpr std::chrono::milliseconds kLookInterval{50};
constexpr int kLastWordsMilliseconds = 3000;

/// The answer on its way from the child, in one piece.
struct Report {
    Outcome outcome;
    bool isComplete;
    std::int32_t status;
    std::size_t conflicts;
    std::size_t errors;
    std::array<char, 400> reason;
    std::array<char, 400> closedFolder;
};

void copyInto(std::array<char, 400>& to, const std::string& text)
{
    std::copy_n(text.begin(), std::min(text.size(), to.size() - 1), to.begin());
}

CheckAnswer ask(platform::Pavo_Server& agent, const CheckCall& call)
{
    CheckAnswer answer{.outcome = Outcome::Answered};
    answer.status = call.command == Command::Login ? agent.pavo_doLoginChecks(call.firstTime, &answer.isComplete)
                                                   : agent.pavo_doLogoutChecks(call.firstTime, &answer.isComplete);
    try {
        if (call.endsAgent) agent.pavo_quit();
    } catch (const platform::Failure&) {
        // It has gone by itself, after its answer.
    }
    answer.left = leftOver();
    return answer;
}

CheckAnswer lookUpAndAsk(const CheckCall& call)
{
    const auto application = platform::makeApplication();
    const auto loop = platform::makeRunLoop();
    const auto messaging = platform::makeObjectMessaging([] {});
    if (messaging->defaultConnection() == nullptr) return {.outcome = Outcome::NoBus};
    const auto end = loop->now() + call.patience;
    while (true) {
        try {
            if (const auto agent = messaging->lookUpPavoServer(kAgentName)) return ask(*agent, call);
        } catch (const platform::Failure& failure) {
            return {.outcome = Outcome::NotAnswered, .reason = failure.reason()};
        }
        if (loop->now() >= end) return {.outcome = Outcome::NoAgent};
        loop->runFor(kLookInterval);
    }
}

[[noreturn]] void callAsUser(const platform::UserEntry& user, const CheckCall& call, int pipe)
{
    // Above all the user's lock, which must not outlive the process that this one calls for.
    ::syscall(SYS_close_range, STDERR_FILENO + 1, pipe - 1, 0U);
    ::syscall(SYS_close_range, pipe + 1, ~0U, 0U);
    resetSignals();
    ::signal(SIGPIPE, SIG_IGN);
    const auto environment = environmentFor(user, call.busAddress);
    if (!becomeUser(user)) ::_exit(1);
    ::prctl(PR_SET_PDEATHSIG, SIGKILL);
    ::clearenv();
    for (const auto& entry : environment)
        ::putenv(const_cast<char*>(entry.c_str()));

    const CheckAnswer answer = lookUpAndAsk(call);
    Report report{answer.outcome, answer.isComplete, answer.status, answer.left.conflicts, answer.left.errors, {}, {}};
    copyInto(report.reason, answer.reason);
    copyInto(report.closedFolder, answer.left.closedFolder);
    const ssize_t written = ::write(pipe, &report, sizeof report);
    ::_exit(written == static_cast<ssize_t>(sizeof report) ? 0 : 1);
}

CheckAnswer readReport(int pipe)
{
    Report report{};
    ssize_t got = 0;
    while ((got = ::read(pipe, &report, sizeof report)) < 0 && errno == EINTR) {}
    if (got != static_cast<ssize_t>(sizeof report)) return {};
    report.reason.back() = '\0';
    report.closedFolder.back() = '\0';
    return {report.outcome,
            report.isComplete,
            report.status,
            report.reason.data(),
            {report.conflicts, report.errors, report.closedFolder.data()}};
}

/// Until there is an answer. An agent that ended says no more: after a moment for what is still under way, neither does
/// its caller wait.
bool waitForReport(int pipe, UserProcess* agent)
{
    std::array<pollfd, 2> questions{pollfd{pipe, POLLIN, 0},
                                    pollfd{agent != nullptr ? agent->descriptor() : -1, POLLIN, 0}};
    while (true) {
        if (::poll(questions.data(), questions.size(), -1) < 0 && errno == EINTR) continue;
        if (questions[0].revents != 0) return true;
        return ::poll(questions.data(), 1, kLastWordsMilliseconds) > 0;
    }
}

} // namespace

CheckAnswer callCheck(const platform::UserEntry& user, const CheckCall& call, UserProcess* agent)
{
    int ends[2];
    if (::pipe2(ends, O_CLOEXEC) != 0) return {.reason = std::strerror(errno)};
    const UniqueFd reading(ends[0]);
    UniqueFd writing(ends[1]);
    const pid_t caller = ::fork();
    if (caller < 0) return {.reason = std::strerror(errno)};
    if (caller == 0) callAsUser(user, call, writing.get());
    writing = UniqueFd();
    CheckAnswer answer;
    if (waitForReport(reading.get(), agent)) answer = readReport(reading.get());
    ::kill(caller, SIGKILL);
    while (::waitpid(caller, nullptr, 0) < 0 && errno == EINTR) {}
    return answer;
}

} // namespace roamer::session
