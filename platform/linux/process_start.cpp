#include "process_start.h"

#include <cerrno>
#include <csignal>

#include <fcntl.h>
#include <poll.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>
#include <utility>

namespace platform
{

namespace
{

// What the new process tells the one that started it, through a pipe that exec closes.
struct Message {
    pid_t pid = 0;
    int error = 0;
};

void tell(int descriptor, const Message& message)
{
    // Smaller than PIPE_BUF, so it is written whole; there is nobody to tell when it is not.
    [[maybe_unused]] const ssize_t written = ::write(descriptor, &message, sizeof message);
}

// From here to exec only calls that are safe after a fork of a process with threads.

void dropIdentity()
{
    const uid_t uid = ::getuid();
    const gid_t gid = ::getgid();
    if (uid == ::geteuid() && gid == ::getegid()) return;
    // The library's wrappers would signal the threads of the parent's image, which are not here.
    ::syscall(SYS_setresgid, gid, gid, gid);
    ::syscall(SYS_setresuid, uid, uid, uid);
}

void resetSignals()
{
    struct sigaction standard {
    };
    standard.sa_handler = SIG_DFL;
    for (int signal = 1; signal < NSIG; ++signal) {
        ::sigaction(signal, &standard, nullptr);
    }
    sigset_t none;
    sigemptyset(&none);
    ::sigprocmask(SIG_SETMASK, &none, nullptr);
}

// Moves the pipe to descriptor 3 and closes everything above; 0 to 2 become /dev/null.
int tidyDescriptors(int pipe)
{
    constexpr int kPipe = 3;
    if (pipe != kPipe && ::dup3(pipe, kPipe, O_CLOEXEC) < 0) return pipe;
    ::syscall(SYS_close_range, kPipe + 1, ~0U, 0U);
    const int null = ::open("/dev/null", O_RDWR | O_CLOEXEC);
    for (int stream = 0; stream < kPipe && null >= 0; ++stream) {
        ::dup2(null, stream);
    }
    return kPipe;
}

[[noreturn]] void runDetached(int pipe, char* const* vector)
{
    ::setsid();
    const pid_t pid = ::fork();
    if (pid != 0) {
        if (pid < 0) tell(pipe, {0, errno});
        ::_exit(0);
    }
    pipe = tidyDescriptors(pipe);
    resetSignals();
    dropIdentity();
    [[maybe_unused]] const int moved = ::chdir("/");
    tell(pipe, {::getpid(), 0});
    ::execv(vector[0], vector);
    tell(pipe, {0, errno});
    ::_exit(127);
}

// All messages until exec or the end closed the pipe; the last error wins.
Message readMessages(int descriptor)
{
    Message result;
    while (true) {
        Message message;
        const ssize_t count = ::read(descriptor, &message, sizeof message);
        if (count < 0 && errno == EINTR) continue;
        if (count != static_cast<ssize_t>(sizeof message)) return result;
        if (message.pid != 0) result.pid = message.pid;
        if (message.error != 0) result.error = message.error;
    }
}

} // namespace

DetachedProcess DetachedProcess::start(const std::string& program, const std::vector<std::string>& arguments)
{
    std::vector<char*> vector{const_cast<char*>(program.c_str())};
    for (const auto& argument : arguments) {
        vector.push_back(const_cast<char*>(argument.c_str()));
    }
    vector.push_back(nullptr);

    int ends[2];
    if (::pipe2(ends, O_CLOEXEC) != 0) return {errno, -1};
    const pid_t child = ::fork();
    if (child == 0) runDetached(ends[1], vector.data());
    const int forkError = errno;
    ::close(ends[1]);
    if (child < 0) {
        ::close(ends[0]);
        return {forkError, -1};
    }
    while (::waitpid(child, nullptr, 0) < 0 && errno == EINTR) {}
    const Message message = readMessages(ends[0]);
    ::close(ends[0]);
    if (message.error != 0) return {message.error, -1};
    if (message.pid == 0) return {ECHILD, -1};
    const auto descriptor = static_cast<int>(::syscall(SYS_pidfd_open, message.pid, 0U));
    DetachedProcess process(0, descriptor);
    process.mHasEnded = descriptor < 0 && errno == ESRCH;
    return process;
}

DetachedProcess::DetachedProcess(DetachedProcess&& other) noexcept
    : mError(other.mError), mDescriptor(std::exchange(other.mDescriptor, -1)), mHasEnded(other.mHasEnded)
{
}

DetachedProcess::~DetachedProcess()
{
    if (mDescriptor >= 0) ::close(mDescriptor);
}

bool DetachedProcess::hasEnded() const
{
    pollfd question{mDescriptor, POLLIN, 0};
    return mHasEnded || (mDescriptor >= 0 && ::poll(&question, 1, 0) > 0);
}

} // namespace platform
