#include "child_conversation.h"

#include <array>
#include <cerrno>
#include <csignal>
#include <cstring>
#include <ctime>

#include <fcntl.h>
#include <poll.h>
#include <spawn.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include "end_signals.h"
#include "unique_fd.h"

namespace platform
{

namespace
{

std::string errorText(const char* call, int error)
{
    std::array<char, 128> buffer{};
    return std::string(call) + ": " + ::strerror_r(error, buffer.data(), buffer.size());
}

/// While it lives, writing to a pipe that nobody reads is an error and no signal to this thread.
class PipeSignalHeld
{
public:
    PipeSignalHeld()
    {
        sigemptyset(&mPipe);
        sigaddset(&mPipe, SIGPIPE);
        mWasPending = isPending();
        ::pthread_sigmask(SIG_BLOCK, &mPipe, &mBefore);
    }
    ~PipeSignalHeld()
    {
        const timespec now{};
        while (!mWasPending && isPending() && ::sigtimedwait(&mPipe, nullptr, &now) < 0 && errno == EINTR) {}
        ::pthread_sigmask(SIG_SETMASK, &mBefore, nullptr);
    }
    PipeSignalHeld(const PipeSignalHeld&) = delete;
    PipeSignalHeld& operator=(const PipeSignalHeld&) = delete;

private:
    static bool isPending()
    {
        sigset_t pending;
        return ::sigpending(&pending) == 0 && sigismember(&pending, SIGPIPE) == 1;
    }

    sigset_t mPipe{};
    sigset_t mBefore{};
    bool mWasPending = false;
};

struct Pipe {
    UniqueFd readEnd;
    UniqueFd writeEnd;
};

/// Both ends above the standard streams, which may be closed here: a child's stream must not be overwritten while it is
/// being set up.
bool makePipe(Pipe& made)
{
    std::array<int, 2> ends{};
    if (::pipe2(ends.data(), O_CLOEXEC) != 0) return false;
    const UniqueFd readEnd(ends[0]);
    const UniqueFd writeEnd(ends[1]);
    made.readEnd = UniqueFd(::fcntl(readEnd.get(), F_DUPFD_CLOEXEC, STDERR_FILENO + 1));
    made.writeEnd = UniqueFd(::fcntl(writeEnd.get(), F_DUPFD_CLOEXEC, STDERR_FILENO + 1));
    return made.readEnd.isOpen() && made.writeEnd.isOpen();
}

/// Starts the program with the two pipes as its streams and signals as a fresh process has them. 0 or an errno.
int spawn(const std::string& program, int input, int output, pid_t& pid)
{
    posix_spawn_file_actions_t actions;
    posix_spawnattr_t attributes;
    if (const int error = ::posix_spawn_file_actions_init(&actions)) return error;
    if (const int error = ::posix_spawnattr_init(&attributes)) {
        ::posix_spawn_file_actions_destroy(&actions);
        return error;
    }
    sigset_t none;
    sigset_t pipe;
    sigemptyset(&none);
    sigemptyset(&pipe);
    sigaddset(&pipe, SIGPIPE);
    ::posix_spawnattr_setsigmask(&attributes, &none);
    ::posix_spawnattr_setsigdefault(&attributes, &pipe);
    ::posix_spawnattr_setflags(&attributes, POSIX_SPAWN_SETSIGMASK | POSIX_SPAWN_SETSIGDEF);

    int error = ::posix_spawn_file_actions_adddup2(&actions, input, STDIN_FILENO);
    if (error == 0) error = ::posix_spawn_file_actions_adddup2(&actions, output, STDOUT_FILENO);
    if (error == 0) {
        std::string name = program;
        const std::array<char*, 2> arguments{name.data(), nullptr};
        error = ::posix_spawn(&pid, program.c_str(), &actions, &attributes, arguments.data(), environ);
    }
    ::posix_spawnattr_destroy(&attributes);
    ::posix_spawn_file_actions_destroy(&actions);
    return error;
}

/// The talk with one child that runs: feeds it, listens to it, and sees it end.
class Conversation
{
public:
    Conversation(pid_t pid, UniqueFd toChild, UniqueFd fromChild, std::span<const std::byte> input, std::size_t limit)
        : mPid(pid), mToChild(std::move(toChild)), mFromChild(std::move(fromChild)),
          mEnd(static_cast<int>(::syscall(SYS_pidfd_open, pid, 0))), mInput(input), mLimit(limit)
    {
        for (const auto* end : {&mToChild, &mFromChild})
            ::fcntl(end->get(), F_SETFL, ::fcntl(end->get(), F_GETFL) | O_NONBLOCK);
    }

    ChildResult run()
    {
        while (!hasEnded() && (mEnd.isOpen() || mFromChild.isOpen()))
            exchange();
        mToChild = {};
        listen(); // what it wrote just before its end
        mFromChild = {};
        auto problem = reap();
        if (mTooMuch) problem = "the program wrote too much";
        if (mMustEnd) problem = "this process is to end";
        return {std::move(mOutput), std::move(problem)};
    }

private:
    bool hasEnded() const { return mHasEnded; }

    /// Waits for something to do, and does it.
    void exchange()
    {
        if (mInput.empty()) mToChild = {};
        const int signals = mMustEnd ? -1 : EndSignals::pendingDescriptor();
        std::array<pollfd, 4> waits{{{mToChild.get(), POLLOUT, 0},
                                     {mFromChild.get(), POLLIN, 0},
                                     {mEnd.get(), POLLIN, 0},
                                     {signals, POLLIN, 0}}};
        if (::poll(waits.data(), waits.size(), -1) < 0) return; // interrupted: the caller looks again
        if (waits[0].revents != 0) feed();
        if (waits[1].revents != 0) listen();
        mHasEnded = waits[2].revents != 0;
        if (waits[3].revents != 0) {
            mMustEnd = true;
            stopChild();
        }
    }

    void feed()
    {
        const auto written = ::write(mToChild.get(), mInput.data(), mInput.size());
        if (written >= 0) {
            mInput = mInput.subspan(static_cast<std::size_t>(written));
        } else if (errno != EAGAIN && errno != EINTR) {
            mToChild = {}; // It does not want to hear the rest; its answer tells whether that was wrong.
        }
    }

    /// Takes what there is, without waiting.
    void listen()
    {
        std::array<std::byte, 4096> buffer{};
        while (mFromChild.isOpen()) {
            const auto got = ::read(mFromChild.get(), buffer.data(), buffer.size());
            if (got < 0 && errno == EINTR) continue;
            if (got < 0 && errno == EAGAIN) return;
            if (got <= 0) {
                mFromChild = {};
                return;
            }
            mOutput.insert(mOutput.end(), buffer.begin(), buffer.begin() + got);
            if (mOutput.size() > mLimit) stopTalker();
        }
    }

    void stopTalker()
    {
        mTooMuch = true;
        stopChild();
    }

    void stopChild()
    {
        mFromChild = {};
        ::kill(mPid, SIGKILL); // not reaped yet, so the id is still its own
    }

    /// Why its end was not a good one.
    std::string reap() const
    {
        int status = 0;
        pid_t reaped = 0;
        do {
            reaped = ::waitpid(mPid, &status, 0);
        } while (reaped < 0 && errno == EINTR);
        if (reaped < 0) return errorText("waitpid", errno);
        if (WIFSIGNALED(status)) return "the program was ended by signal " + std::to_string(WTERMSIG(status));
        if (WEXITSTATUS(status) != 0) return "the program exited with status " + std::to_string(WEXITSTATUS(status));
        return {};
    }

    const pid_t mPid;
    UniqueFd mToChild;
    UniqueFd mFromChild;
    UniqueFd mEnd; ///< A pidfd, readable once the child has ended; none on a kernel without them.
    std::span<const std::byte> mInput;
    const std::size_t mLimit;
    std::vector<std::byte> mOutput;
    bool mTooMuch = false;
    bool mMustEnd = false;
    bool mHasEnded = false;
};

} // namespace

ChildResult converseWithChild(const std::string& program, std::span<const std::byte> input,
                              std::size_t outputLimitBytes)
{
    Pipe toChild;
    Pipe fromChild;
    if (!makePipe(toChild) || !makePipe(fromChild)) return {{}, errorText("pipe", errno)};

    const PipeSignalHeld held;
    pid_t pid = -1;
    if (const int error = spawn(program, toChild.readEnd.get(), fromChild.writeEnd.get(), pid)) {
        return {{}, errorText(program.c_str(), error)};
    }
    toChild.readEnd = {};
    fromChild.writeEnd = {};
    return Conversation(pid, std::move(toChild.writeEnd), std::move(fromChild.readEnd), input, outputLimitBytes).run();
}

} // namespace platform
