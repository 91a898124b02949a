#include "check_run.h"

#include <cerrno>
#include <chrono>
#include <cstring>
#include <fcntl.h>
#include <thread>
#include <unistd.h>

#include "check_call.h"
#include "environment.h"
#include "login_password.h"
#include "platform/system_root.h"
#include "private_bus.h"
#include "run_folder.h"
#include "secret.h"
#include "status_words.h"

namespace roamer::session
{

namespace
{

using namespace std::chrono_literals;
using platform::UniqueFd;

constexpr const char* kAgent = "/System/Library/Hearth/Custodia.app/Contents/ZilOS/roamer";
constexpr auto kAgentStart = 30s;
// What the agent may still have to undo after its bus has gone: a pass that is told to end.
constexpr auto kAgentEnd = 35s;
constexpr auto kQueueLook = 100ms;

/// What the steps share. It goes in the order that matters: the bus before the lock.
struct Work {
    const Arguments& arguments;
    const platform::UserEntry& user;
    const WaitingLine& line;
    const RunFolder& folder;
    Secret password{};
    std::optional<UniqueFd> lock{};
    std::optional<PrivateBus> bus{};
    std::string busAddress{}; ///< Of `bus`, or of the user's session.

    bool isLogin() const { return arguments.command == Command::Login; }
};

using Stop = std::optional<std::string>; ///< Why it cannot go on, in words.

void leaveTerminal()
{
    ::setsid();
    const int null = ::open("/dev/null", O_RDWR | O_CLOEXEC);
    for (int stream = STDIN_FILENO; stream <= STDERR_FILENO; ++stream)
        ::dup2(null, stream);
}

Stop takePassword(Work& work)
{
    if (!work.isLogin()) return std::nullopt;
    return work.password.readFrom(STDIN_FILENO, [&work] { return work.line.isWatched(); });
}

Stop waitForTurn(Work& work)
{
    work.line.tell(Phase::Queueing);
    while (!(work.lock = work.folder.tryLock(work.user))) {
        if (!work.line.isWatched()) return "nobody waits any more";
        std::this_thread::sleep_for(kQueueLook);
    }
    return std::nullopt;
}

/// The bus of the user's session, whether or not there is one.
std::string sessionBus(const platform::UserEntry& user)
{
    if (user.uid == ::getuid()) {
        if (auto address = trustedVariable("DBUS_SESSION_BUS_ADDRESS"); !address.empty()) return address;
        if (const auto runtime = trustedVariable("XDG_RUNTIME_DIR"); !runtime.empty()) {
            return "unix:path=" + runtime + "/bus";
        }
    }
    return "unix:path=/run/user/" + std::to_string(user.uid) + "/bus";
}

/// `agent` is our own, or null.
CheckAnswer call(Work& work, std::chrono::milliseconds patience, UserProcess* agent)
{
    // The session's agent may come up at this moment and take the name on its bus: ours ends then, and it answers.
    const bool mayAnotherAnswer = !work.bus;
    return callCheck(work.user,
                     {.command = work.arguments.command,
                      .firstTime = work.arguments.firstTime,
                      .busAddress = work.busAddress,
                      .patience = patience,
                      .endsAgent = agent != nullptr},
                     mayAnotherAnswer ? nullptr : agent);
}

/// A logout is the business of the agent that serves in the session. Without one, an agent of our own joins that bus,
/// where it finds the session's engine.
std::optional<CheckAnswer> askAgentOfSession(Work& work)
{
    work.busAddress = sessionBus(work.user);
    auto answer = call(work, 0ms, nullptr);
    if (answer.outcome == CheckAnswer::Outcome::NoBus) work.busAddress.clear();
    const bool isOwnBusiness =
        answer.outcome == CheckAnswer::Outcome::NoBus || answer.outcome == CheckAnswer::Outcome::NoAgent;
    if (isOwnBusiness) return std::nullopt;
    return answer;
}

Stop startBus(Work& work)
{
    const auto folder = work.folder.makeBusFolder(work.user);
    if (folder.empty()) return std::string("there is no place for the message bus: ") + std::strerror(errno);
    auto bus = PrivateBus::start(work.user, folder);
    if (auto* problem = std::get_if<std::string>(&bus)) return std::move(*problem);
    work.busAddress = work.bus.emplace(std::move(std::get<PrivateBus>(bus))).address();
    return std::nullopt;
}

std::variant<UserProcess, std::string> startAgent(Work& work)
{
    const UniqueFd input = work.isLogin() ? pipeWith(work.password) : UniqueFd();
    work.password.wipe();
    if (work.isLogin() && !input.isOpen()) return "the password could not be handed on";
    return UserProcess::start(work.user, {.path = platform::systemPath(kAgent),
                                          .arguments = {},
                                          .environment = environmentFor(work.user, work.busAddress),
                                          .standardInput = input.get()});
}

/// The agent was told to quit. One that lost its way is left the time to undo what it began when its bus goes.
void endAgent(Work& work, UserProcess& agent, const CheckAnswer& answer)
{
    const bool wasTold = answer.outcome == CheckAnswer::Outcome::Answered;
    const auto patience = std::chrono::duration_cast<std::chrono::milliseconds>(kAgentEnd);
    if (wasTold && agent.endsWithin(patience)) return;
    work.bus.reset();
    if (!agent.endsWithin(patience)) agent.end(2s);
}

CheckAnswer askOwnAgent(Work& work, UserProcess& agent)
{
    auto answer = call(work, kAgentStart, &agent);
    endAgent(work, agent, answer);
    return answer;
}

Outcome outcomeOf(const CheckAnswer& answer)
{
    const auto told = [](Verdict verdict) {
        return Outcome{verdict.mayGoOn, verdict.isTold, std::move(verdict.words)};
    };
    constexpr const char* kHelp = "the next sync tries again, and the system log may say why";
    switch (answer.outcome) {
    case CheckAnswer::Outcome::Answered:
        return told(verdictOf(answer.status, answer.isComplete, answer.left));
    case CheckAnswer::Outcome::NotAnswered:
        return told(failed(
            "the agent ended before the sync was done" + (answer.reason.empty() ? "" : ": " + answer.reason), kHelp));
    default:
        return told(failed("the agent did not come up", kHelp));
    }
}

Outcome stopped(const std::string& reason)
{
    return {.words = failed(reason, "the next login or logout tries again").words};
}

Outcome runSteps(Work& work)
{
    if (auto stop = takePassword(work)) return stopped(*stop);
    leaveTerminal();
    if (auto stop = waitForTurn(work)) return stopped(*stop);
    work.line.tell(Phase::Syncing);
    if (!work.isLogin()) {
        if (const auto answer = askAgentOfSession(work)) return outcomeOf(*answer);
    }
    if (work.busAddress.empty()) {
        if (auto stop = startBus(work)) return stopped(*stop);
    }
    if (work.isLogin()) keepPasswordForSession(work.user, work.password);
    auto agent = startAgent(work);
    if (const auto* problem = std::get_if<std::string>(&agent)) return stopped(*problem);
    return outcomeOf(askOwnAgent(work, std::get<UserProcess>(agent)));
}

void cleanUp(Work& work)
{
    work.bus.reset();
    if (work.lock && !work.isLogin()) dropPasswordOfSession(work.user);
    if (work.lock) work.folder.removeBusFolder(work.user);
}

} // namespace

Outcome runCheck(const Arguments& arguments, const platform::UserEntry& user, const WaitingLine& line)
{
    const auto folder = RunFolder::open();
    if (const auto* problem = std::get_if<std::string>(&folder)) return stopped(*problem);
    Work work{.arguments = arguments, .user = user, .line = line, .folder = std::get<RunFolder>(folder)};
    auto outcome = runSteps(work);
    cleanUp(work);
    return outcome;
}

} // namespace roamer::session
