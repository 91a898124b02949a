#include "session_run.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <chrono>
#include <csignal>
#include <fcntl.h>
#include <poll.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

namespace roamer::pam
{

namespace
{

using Clock = std::chrono::steady_clock;

/// A program that ignores the end of children would take the exit status away from us.
class ChildSignalGuard
{
public:
    ChildSignalGuard()
    {
        struct sigaction plain {
        };
        plain.sa_handler = SIG_DFL;
        sigaction(SIGCHLD, &plain, &mFormer);
    }
    ~ChildSignalGuard() { sigaction(SIGCHLD, &mFormer, nullptr); }
    ChildSignalGuard(const ChildSignalGuard&) = delete;
    ChildSignalGuard& operator=(const ChildSignalGuard&) = delete;

private:
    struct sigaction mFormer {
    };
};

std::vector<char*> pointersTo(const std::vector<std::string>& texts)
{
    std::vector<char*> pointers;
    for (const auto& text : texts)
        pointers.push_back(const_cast<char*>(text.c_str()));
    pointers.push_back(nullptr);
    return pointers;
}

/// Never returns. Only calls that are safe between fork and exec.
[[noreturn]] void becomeProgram(const char* program, char* const* arguments, char* const* environment, int input,
                                int output)
{
    dup2(input, STDIN_FILENO);
    dup2(open("/dev/null", O_WRONLY), STDOUT_FILENO);
    dup2(output, STDERR_FILENO);
    syscall(SYS_close_range, 3U, ~0U, 0U);
    setsid();
    execve(program, arguments, environment);
    _exit(127);
}

int millisecondsUntil(Clock::time_point deadline)
{
    const auto left = std::chrono::duration_cast<std::chrono::milliseconds>(deadline - Clock::now()).count();
    return static_cast<int>(std::max<std::int64_t>(left, 0));
}

/// What comes until the pipe is closed or the time is up.
std::string readUntil(int output, Clock::time_point deadline)
{
    constexpr std::size_t kKept = 4096;
    std::string text;
    pollfd wait{output, POLLIN, 0};
    while (poll(&wait, 1, millisecondsUntil(deadline)) > 0 || errno == EINTR) {
        std::array<char, 1024> buffer{};
        const auto got = read(output, buffer.data(), buffer.size());
        if (got <= 0) break;
        text.append(buffer.data(), static_cast<std::size_t>(got));
        if (text.size() > kKept) text.erase(0, text.size() - kKept);
    }
    return text;
}

std::string lastLineOf(std::string text)
{
    while (text.ends_with('\n'))
        text.pop_back();
    const auto end = text.rfind('\n');
    return end == std::string::npos ? text : text.substr(end + 1);
}

void waitForEnd(pid_t child, Clock::time_point deadline, SessionRun& run)
{
    const int handle = static_cast<int>(syscall(SYS_pidfd_open, child, 0));
    pollfd wait{handle, POLLIN, 0};
    if (handle >= 0 && poll(&wait, 1, millisecondsUntil(deadline)) > 0) {
        int status = 0;
        if (waitpid(child, &status, 0) == child) {
            run.isOver = true;
            if (WIFEXITED(status)) run.exitStatus = WEXITSTATUS(status);
        }
    }
    if (handle >= 0) close(handle);
}

} // namespace

SessionRun runSession(const std::string& program, const std::vector<std::string>& arguments,
                      const std::vector<std::string>& environment, std::string_view input, int seconds)
{
    SessionRun run;
    std::array<int, 2> in{};
    std::array<int, 2> out{};
    if (pipe2(in.data(), O_CLOEXEC) != 0) return run;
    if (pipe2(out.data(), O_CLOEXEC) != 0) {
        close(in[0]);
        close(in[1]);
        return run;
    }
    std::vector<std::string> words = {program};
    words.insert(words.end(), arguments.begin(), arguments.end());
    const auto argumentPointers = pointersTo(words);
    const auto environmentPointers = pointersTo(environment);

    const ChildSignalGuard guard;
    const auto deadline = Clock::now() + std::chrono::seconds(seconds);
    const pid_t child = fork();
    if (child == 0) becomeProgram(program.c_str(), argumentPointers.data(), environmentPointers.data(), in[0], out[1]);
    close(in[0]);
    close(out[1]);
    if (child > 0) {
        // The pipe holds any password; a reader that is gone must not end the login with a signal.
        fcntl(in[1], F_SETFL, O_NONBLOCK);
        struct sigaction ignore {
        };
        struct sigaction former {
        };
        ignore.sa_handler = SIG_IGN;
        sigaction(SIGPIPE, &ignore, &former);
        [[maybe_unused]] const auto written = write(in[1], input.data(), input.size());
        sigaction(SIGPIPE, &former, nullptr);
    }
    close(in[1]);
    if (child > 0) {
        run.lastLine = lastLineOf(readUntil(out[0], deadline));
        waitForEnd(child, deadline, run);
    }
    close(out[0]);
    return run;
}

} // namespace roamer::pam
