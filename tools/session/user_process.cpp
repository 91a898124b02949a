#include "user_process.h"

#include <cerrno>
#include <csignal>
#include <cstring>
#include <fcntl.h>
#include <grp.h>
#include <poll.h>
#include <sys/prctl.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>
#include <utility>

namespace roamer::session
{

namespace
{

using platform::UniqueFd;

constexpr std::chrono::milliseconds kPatience{2000};

std::vector<char*> pointers(const std::vector<std::string>& texts)
{
    std::vector<char*> result;
    for (const auto& text : texts)
        result.push_back(const_cast<char*>(text.c_str()));
    result.push_back(nullptr);
    return result;
}

/// Descriptors 0 to 2, the passed ones from 3 on, then the pipe that exec closes; nothing else stays open.
/// Everything is first copied out of the way of the numbers that it will get.
UniqueFd arrangeDescriptors(const UserProcess::Program& program, int failurePipe)
{
    constexpr int kOutOfTheWay = 64;
    const int null = ::open("/dev/null", O_RDWR | O_CLOEXEC);
    std::vector<int> wanted{program.standardInput >= 0 ? program.standardInput : null, null, null};
    wanted.insert(wanted.end(), program.passedOn.begin(), program.passedOn.end());
    std::vector<int> copies;
    for (const int descriptor : wanted)
        copies.push_back(::fcntl(descriptor, F_DUPFD_CLOEXEC, kOutOfTheWay));
    const int pipeCopy = ::fcntl(failurePipe, F_DUPFD_CLOEXEC, kOutOfTheWay);
    int next = 0;
    for (const int copy : copies)
        ::dup2(copy, next++);
    ::dup3(pipeCopy, next, O_CLOEXEC);
    ::syscall(SYS_close_range, next + 1, ~0U, 0U);
    return UniqueFd(next);
}

[[noreturn]] void runProgram(const platform::UserEntry& user, const UserProcess::Program& program, int failurePipe,
                             pid_t parent)
{
    const UniqueFd pipe = arrangeDescriptors(program, failurePipe);
    resetSignals();
    const auto refuse = [&pipe](int error) {
        [[maybe_unused]] const ssize_t told = ::write(pipe.get(), &error, sizeof error);
        ::_exit(127);
    };
    if (!becomeUser(user)) refuse(errno != 0 ? errno : EPERM);
    // After the change of user, which takes the wish back.
    if (program.endsWithParent) {
        ::prctl(PR_SET_PDEATHSIG, SIGTERM);
        if (::getppid() != parent) ::_exit(127);
    }
    [[maybe_unused]] const int moved = ::chdir("/");
    std::vector<std::string> words{program.path};
    words.insert(words.end(), program.arguments.begin(), program.arguments.end());
    ::execve(program.path.c_str(), pointers(words).data(), pointers(program.environment).data());
    refuse(errno);
    ::_exit(127);
}

std::string failed(const UserProcess::Program& program, int error)
{
    return "\"" + program.path + "\" could not be started: " + std::strerror(error);
}

} // namespace

bool becomeUser(const platform::UserEntry& user)
{
    // A process that is the user already has the session's groups, which may be more than the database knows.
    const bool isUser = ::getuid() == user.uid && ::geteuid() == user.uid;
    if (!isUser) {
        if (::initgroups(user.name.c_str(), user.gid) != 0) return false;
        if (::setresgid(user.gid, user.gid, user.gid) != 0) return false;
    }
    if (::setresuid(user.uid, user.uid, user.uid) != 0) return false;
    uid_t real = 0;
    uid_t effective = 0;
    uid_t saved = 0;
    ::getresuid(&real, &effective, &saved);
    return real == user.uid && effective == user.uid && saved == user.uid;
}

void resetSignals()
{
    struct sigaction standard {
    };
    standard.sa_handler = SIG_DFL;
    for (int signal = 1; signal < NSIG; ++signal)
        ::sigaction(signal, &standard, nullptr);
    sigset_t none;
    ::sigemptyset(&none);
    ::sigprocmask(SIG_SETMASK, &none, nullptr);
}

std::variant<UserProcess, std::string> UserProcess::start(const platform::UserEntry& user, const Program& program)
{
    int ends[2];
    if (::pipe2(ends, O_CLOEXEC) != 0) return failed(program, errno);
    const UniqueFd reading(ends[0]);
    UniqueFd writing(ends[1]);
    const pid_t parent = ::getpid();
    const pid_t pid = ::fork();
    if (pid < 0) return failed(program, errno);
    if (pid == 0) runProgram(user, program, writing.get(), parent);
    writing = UniqueFd();

    UserProcess process(pid, UniqueFd(static_cast<int>(::syscall(SYS_pidfd_open, pid, 0U))));
    int error = 0;
    ssize_t got = 0;
    while ((got = ::read(reading.get(), &error, sizeof error)) < 0 && errno == EINTR) {}
    if (got != 0) return failed(program, error);
    return process;
}

UserProcess::UserProcess(UserProcess&& other) noexcept
    : mPid(std::exchange(other.mPid, 0)), mDescriptor(std::move(other.mDescriptor))
{
}

UserProcess::~UserProcess()
{
    end(kPatience);
}

bool UserProcess::endsWithin(std::chrono::milliseconds time)
{
    if (mPid == 0) return true;
    pollfd question{mDescriptor.get(), POLLIN, 0};
    if (::poll(&question, 1, static_cast<int>(time.count())) <= 0) return false;
    while (::waitpid(mPid, nullptr, 0) < 0 && errno == EINTR) {}
    mPid = 0;
    return true;
}

void UserProcess::end(std::chrono::milliseconds patience)
{
    if (mPid == 0) return;
    ::kill(mPid, SIGTERM);
    if (endsWithin(patience)) return;
    ::kill(mPid, SIGKILL);
    while (::waitpid(mPid, nullptr, 0) < 0 && errno == EINTR) {}
    mPid = 0;
}

} // namespace roamer::session
