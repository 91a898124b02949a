#include "child_exec.h"

#include <cerrno>
#include <csignal>

#include <fcntl.h>
#include <sys/syscall.h>
#include <unistd.h>

namespace platform
{

int ExecPipe::open()
{
    int ends[2];
    if (::pipe2(ends, O_CLOEXEC) != 0) return errno;
    mReadEnd = UniqueFd(ends[0]);
    mWriteEnd = UniqueFd(ends[1]);
    return 0;
}

void ExecPipe::moveAbove(int lowest)
{
    const int moved = ::fcntl(mWriteEnd.get(), F_DUPFD_CLOEXEC, lowest);
    if (moved >= 0) mWriteEnd = UniqueFd(moved);
}

void ExecPipe::tell(const Message& message) const
{
    // Smaller than PIPE_BUF, so it is written whole; there is nobody to tell when it is not.
    [[maybe_unused]] const ssize_t written = ::write(mWriteEnd.get(), &message, sizeof message);
}

void ExecPipe::execute(char* const* vector) const
{
    ::execv(vector[0], vector);
    tell({0, errno});
}

ExecPipe::Message ExecPipe::readMessages()
{
    Message result;
    while (true) {
        Message message;
        const ssize_t count = ::read(mReadEnd.get(), &message, sizeof message);
        if (count < 0 && errno == EINTR) continue;
        if (count != static_cast<ssize_t>(sizeof message)) break;
        if (message.pid != 0) result.pid = message.pid;
        if (message.error != 0) result.error = message.error;
    }
    mReadEnd = {};
    return result;
}

std::vector<char*> argumentVector(const std::string& program, const std::vector<std::string>& arguments)
{
    std::vector<char*> vector{const_cast<char*>(program.c_str())};
    for (const auto& argument : arguments) {
        vector.push_back(const_cast<char*>(argument.c_str()));
    }
    vector.push_back(nullptr);
    return vector;
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

int becomeRealUser()
{
    const uid_t uid = ::getuid();
    const gid_t gid = ::getgid();
    if (uid == ::geteuid() && gid == ::getegid()) return 0;
    // The library's wrappers would signal the threads of the parent's image, which are not here.
    if (::syscall(SYS_setresgid, gid, gid, gid) != 0 || ::syscall(SYS_setresuid, uid, uid, uid) != 0) return errno;
    return 0;
}

} // namespace platform
