// roamer-session: what a login or a logout runs.
//
// The process that was started waits and may give up; a child of it does the work and cleans up, however long that
// takes. The password is read by that child and goes through a pipe to the agent.

#include <cstdio>
#include <optional>
#include <span>
#include <string>
#include <unistd.h>

#include "arguments.h"
#include "check_run.h"
#include "home_change.h"
#include "secret.h"
#include "status_words.h"
#include "user_process.h"

namespace
{

namespace session = roamer::session;

constexpr int kMayGoOn = 0;
constexpr int kMustStop = 1;
constexpr int kUsage = 2;

int complain(int status, const std::string& words)
{
    std::fprintf(stderr, "roamer-session: %s\n", words.c_str());
    return status;
}

/// The account that is meant, or in words why it cannot be served.
std::variant<platform::UserEntry, std::string> findAccount(const session::Arguments& arguments)
{
    const auto found = arguments.user ? platform::findUser(*arguments.user) : platform::findUser(::getuid());
    const auto name = arguments.user.value_or("number " + std::to_string(::getuid()));
    if (!found.entry) return "the system knows no user \"" + name + "\"";
    if (::getuid() != ::geteuid()) return "must not be installed set-uid";
    if (found.entry->uid != ::geteuid() && ::geteuid() != 0)
        return "only the superuser may do this for \"" + name + "\"";
    return *found.entry;
}

std::string whatIsDone(const session::Arguments& arguments, const platform::UserEntry& user)
{
    return std::string(arguments.command == session::Command::Login ? "login" : "logout") + " of \"" + user.name + "\"";
}

std::string gaveUp(const session::Arguments& arguments, session::Phase phase)
{
    const auto seconds = std::to_string(arguments.timeout->count());
    switch (phase) {
    case session::Phase::Preparing:
        return "gave up after " + seconds + " s without a password; nothing was begun, and the next sync tries again";
    case session::Phase::Queueing:
        return "gave up after " + seconds + " s: another login or logout is still under way; nothing was begun";
    case session::Phase::Syncing:
        break;
    }
    return "gave up waiting after " + seconds +
           " s; the sync goes on by itself, and \"roamerctl status\" shows its end";
}

int waitForCheck(const session::Arguments& arguments, const platform::UserEntry& user, const session::WaitingLine& line)
{
    const auto heard = line.listen(arguments.timeout);
    const auto what = whatIsDone(arguments, user) + ": ";
    if (!heard.isOver) return complain(kMustStop, what + gaveUp(arguments, heard.phase));
    if (!heard.outcome) {
        const auto verdict = session::failed("the process that did it was ended", "the next sync goes on from there");
        return complain(kMustStop, what + verdict.words);
    }
    const int status = heard.outcome->mayGoOn ? kMayGoOn : kMustStop;
    // Whoever logs people in shows them what comes on standard error.
    if (heard.outcome->isTold) return complain(status, what + heard.outcome->words);
    std::printf("roamer-session: %s%s\n", what.c_str(), heard.outcome->words.c_str());
    return kMayGoOn;
}

int check(const session::Arguments& arguments, const platform::UserEntry& user)
{
    auto line = session::WaitingLine::open();
    const pid_t child = line ? ::fork() : -1;
    if (child < 0) return complain(kMustStop, "no process could be started");
    if (child == 0) {
        // So that it notices when the waiting process goes.
        {
            const auto dropped = std::move(line->waiting);
        }
        line->working.tell(session::runCheck(arguments, user, line->working));
        ::_exit(0);
    }
    {
        const auto dropped = std::move(line->working);
    }
    return waitForCheck(arguments, user, line->waiting);
}

int noteChange(const session::Arguments& arguments, const platform::UserEntry& user)
{
    if (!session::becomeUser(user)) return complain(kMustStop, "cannot become \"" + user.name + "\"");
    const auto home = arguments.home.value_or(user.home);
    if (const auto problem = session::noteHomeChange(home, std::chrono::system_clock::now())) {
        return complain(kMustStop, *problem);
    }
    return kMayGoOn;
}

} // namespace

int main(int argc, char** argv)
{
    // A caller that ignores the end of its children must not keep this process from seeing the end of its own.
    session::resetSignals();
    const std::span<const char* const> all(argv, static_cast<std::size_t>(argc));
    if (argc == 2 && std::string(argv[1]) == "--help") return std::fputs(session::kUsage, stdout), kMayGoOn;
    const auto parsed = session::parseArguments(all.subspan(argc > 0 ? 1 : 0));
    if (const auto* problem = std::get_if<std::string>(&parsed)) {
        complain(kUsage, *problem);
        std::fputs(session::kUsage, stderr);
        return kUsage;
    }
    const auto& arguments = std::get<session::Arguments>(parsed);
    session::forbidMemoryImages();
    const auto account = findAccount(arguments);
    if (const auto* problem = std::get_if<std::string>(&account)) return complain(kMustStop, *problem);
    const auto& user = std::get<platform::UserEntry>(account);
    return arguments.command == session::Command::Changed ? noteChange(arguments, user) : check(arguments, user);
}
