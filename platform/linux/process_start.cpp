#include "process_start.h"

#include <cerrno>

#include <fcntl.h>
#include <poll.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>
#include <utility>

#include "child_exec.h"

namespace platform
{

namespace
{

// Closes everything but the pipe; 0 to 2 become /dev/null.
void tidyDescriptors(ExecPipe& pipe)
{
    constexpr int kFirst = 3;
    pipe.moveAbove(kFirst);
    const auto kept = static_cast<unsigned>(pipe.childDescriptor());
    if (kept > kFirst) ::syscall(SYS_close_range, kFirst, kept - 1, 0U);
    ::syscall(SYS_close_range, kept + 1, ~0U, 0U);
    const int null = ::open("/dev/null", O_RDWR | O_CLOEXEC);
    for (int stream = 0; stream < kFirst && null >= 0; ++stream) {
        ::dup2(null, stream);
    }
}

[[noreturn]] void runDetached(ExecPipe& pipe, char* const* vector)
{
    ::setsid();
    const pid_t pid = ::fork();
    if (pid != 0) {
        if (pid < 0) pipe.tell({0, errno});
        ::_exit(0);
    }
    tidyDescriptors(pipe);
    resetSignals();
    const int identityError = becomeRealUser();
    [[maybe_unused]] const int moved = ::chdir("/");
    pipe.tell({::getpid(), identityError});
    if (identityError == 0) pipe.execute(vector);
    ::_exit(127);
}

} // namespace

DetachedProcess DetachedProcess::start(const std::string& program, const std::vector<std::string>& arguments)
{
    const auto vector = argumentVector(program, arguments);
    ExecPipe pipe;
    if (const int error = pipe.open()) return {error, -1};
    const pid_t child = ::fork();
    if (child == 0) runDetached(pipe, vector.data());
    if (child < 0) return {errno, -1};
    pipe.closeChildEnd();
    while (::waitpid(child, nullptr, 0) < 0 && errno == EINTR) {}
    const auto message = pipe.readMessages();
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
