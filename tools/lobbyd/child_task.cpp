#include "child_task.h"

#include <array>
#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <utility>

#include <fcntl.h>
#include <grp.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <QSocketNotifier>
#include <QTimer>

#include "platform/linux/child_exec.h"

namespace lobby
{

namespace
{

using platform::UniqueFd;

constexpr std::size_t kLongestOutput = 4096;
constexpr int kPasswordDescriptor = 3;
constexpr int kNotStarted = 127;
constexpr int kFirstFreeDescriptor = 10; // above all that a child is given

struct Pipe {
    UniqueFd readEnd;
    UniqueFd writeEnd;
};

/// Both ends above the numbers that a child's descriptors get; not open when there is none to be had.
Pipe makePipe()
{
    std::array<int, 2> ends{};
    if (::pipe2(ends.data(), O_CLOEXEC) != 0) return {};
    const UniqueFd readEnd(ends[0]);
    const UniqueFd writeEnd(ends[1]);
    return {UniqueFd(::fcntl(readEnd.get(), F_DUPFD_CLOEXEC, kFirstFreeDescriptor)),
            UniqueFd(::fcntl(writeEnd.get(), F_DUPFD_CLOEXEC, kFirstFreeDescriptor))};
}

/// A pipe that holds the password and its end; the read end.
UniqueFd passwordInput(const ChildJob& job)
{
    auto pipe = makePipe();
    const auto length = static_cast<ssize_t>(job.password.size());
    if (!pipe.writeEnd.isOpen() || ::write(pipe.writeEnd.get(), job.password.data(), job.password.size()) != length)
        return {};
    if (job.route == PasswordRoute::StandardInput && ::write(pipe.writeEnd.get(), "\n", 1) != 1) return {};
    return std::move(pipe.readEnd);
}

/// In the child. The library's wrappers would also signal the threads of the parent's image, which are not here.
bool becomeUser(const Identity& identity)
{
    if (::geteuid() != 0) return ::geteuid() == identity.uid;
    if (::syscall(SYS_setgroups, identity.groups.size(), identity.groups.data()) != 0) {
        // In a user namespace of one user nobody may change them, and there is nothing to gain by them.
        if (errno != EPERM || identity.uid != 0) return false;
    }
    const auto [uid, gid] = std::pair{identity.uid, identity.gid};
    return ::syscall(SYS_setresgid, gid, gid, gid) == 0 && ::syscall(SYS_setresuid, uid, uid, uid) == 0;
}

struct ChildStreams {
    int input;
    int output;
    int password; ///< Below 0: none.
};

/// In the child: everything up to the program. False when a step failed.
bool prepareChild(const Identity& identity, const ChildStreams& streams)
{
    ::setsid();
    platform::resetSignals();
    const rlimit none{0, 0};
    ::setrlimit(RLIMIT_CORE, &none);
    if (::chdir("/") != 0) return false;
    ::umask(077);
    if (::dup2(streams.input, STDIN_FILENO) < 0) return false;
    if (::dup2(streams.output, STDOUT_FILENO) < 0 || ::dup2(streams.output, STDERR_FILENO) < 0) return false;
    if (streams.password >= 0 && ::dup2(streams.password, kPasswordDescriptor) < 0) return false;
    const int first = streams.password >= 0 ? kPasswordDescriptor + 1 : kPasswordDescriptor;
    ::syscall(SYS_close_range, first, ~0U, 0U);
    return becomeUser(identity);
}

int exitStatus(int status)
{
    return WIFSIGNALED(status) ? 128 + WTERMSIG(status) : WEXITSTATUS(status);
}

} // namespace

ChildTask::ChildTask(const ChildJob& job, std::function<void(const ChildEnd&)> ended) : mEnded(std::move(ended))
{
    const bool hasPassword = job.route != PasswordRoute::None;
    const UniqueFd password = hasPassword ? passwordInput(job) : UniqueFd();
    const UniqueFd nothing(::open("/dev/null", O_RDWR | O_CLOEXEC));
    const UniqueFd quiet(::fcntl(nothing.get(), F_DUPFD_CLOEXEC, kFirstFreeDescriptor));
    auto output = makePipe();
    auto arguments = platform::argumentVector(job.program, job.arguments);
    std::vector<std::string> variables = job.environment;
    if (job.route == PasswordRoute::Descriptor) variables.push_back("PASSWD_FD=" + std::to_string(kPasswordDescriptor));
    std::vector<char*> environment;
    for (auto& variable : variables)
        environment.push_back(variable.data());
    environment.push_back(nullptr);
    const ChildStreams streams{
        .input = job.route == PasswordRoute::StandardInput ? password.get() : quiet.get(),
        .output = output.writeEnd.get(),
        .password = job.route == PasswordRoute::Descriptor ? password.get() : -1,
    };
    if (!output.writeEnd.isOpen() || !quiet.isOpen() || (hasPassword && !password.isOpen())) {
        QTimer::singleShot(0, &mContext, [this] { finish(); });
        return;
    }
    mPid = ::fork();
    if (mPid == 0) {
        if (!prepareChild(job.identity, streams)) ::_exit(kNotStarted);
        if (job.body != nullptr) ::_exit(job.body(job.path.c_str()));
        ::execve(job.program.c_str(), arguments.data(), environment.data());
        ::_exit(kNotStarted);
    }
    mOutput = std::move(output.readEnd);
    ::fcntl(mOutput.get(), F_SETFL, O_NONBLOCK);
    watch();
}

ChildTask::~ChildTask()
{
    if (mProcessNotifier) {
        // It may be the one that is just telling of the end.
        mProcessNotifier->setEnabled(false);
        mProcessNotifier.release()->deleteLater();
    }
    if (mPid <= 0) return;
    kill();
    ::waitpid(mPid, nullptr, WNOHANG);
}

void ChildTask::watch()
{
    mProcess = UniqueFd(mPid > 0 ? static_cast<int>(::syscall(SYS_pidfd_open, mPid, 0)) : -1);
    if (!mProcess.isOpen()) {
        QTimer::singleShot(0, &mContext, [this] { finish(); });
        return;
    }
    mProcessNotifier = std::make_unique<QSocketNotifier>(mProcess.get(), QSocketNotifier::Read);
    QObject::connect(mProcessNotifier.get(), &QSocketNotifier::activated, &mContext, [this] { finish(); });
}

void ChildTask::abandon()
{
    kill();
    mEnded = [](const ChildEnd&) {};
}

void ChildTask::kill() const
{
    // Not reaped yet, so the number is still the child's own.
    if (mPid > 0) ::kill(-mPid, SIGKILL);
}

/// What has been written so far. A program that goes on in the background may keep the stream open.
void ChildTask::listen()
{
    std::array<char, kLongestOutput> buffer{};
    while (mText.size() < kLongestOutput) {
        const auto got = ::read(mOutput.get(), buffer.data(), kLongestOutput - mText.size());
        if (got < 0 && errno == EINTR) continue;
        if (got <= 0) return;
        mText.append(buffer.data(), static_cast<std::size_t>(got));
    }
}

void ChildTask::finish()
{
    ChildEnd end{.status = kNotStarted, .output = {}};
    if (mPid > 0) {
        if (mProcessNotifier) mProcessNotifier->setEnabled(false);
        int status = 0;
        if (::waitpid(mPid, &status, 0) == mPid) end.status = exitStatus(status);
        mPid = -1;
        listen();
        end.output = std::move(mText);
    }
    // May end this object.
    const auto ended = std::move(mEnded);
    ended(end);
}

} // namespace lobby
