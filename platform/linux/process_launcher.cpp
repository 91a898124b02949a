#include "process_launcher.h"

#include <QSocketNotifier>

#include <cerrno>
#include <csignal>
#include <functional>
#include <map>
#include <system_error>
#include <utility>

#include <fcntl.h>
#include <sys/prctl.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include "child_exec.h"
#include "platform/failure.h"
#include "platform/system_root.h"
#include "user_database.h"
#include "util/debug_log.h"

namespace platform
{

namespace
{

constexpr int kFirstClosed = 4;
constexpr int kLastClosed = 24;
constexpr uid_t kUnchanged = static_cast<uid_t>(-1);

std::string withoutTilde(const std::string& path)
{
    if (path != "~" && !path.starts_with("~/")) return path;
    const auto user = findUser(::getuid());
    return (user.entry ? user.entry->home : "") + path.substr(1);
}

/// Made before the fork: afterwards a child may neither allocate nor look users up.
struct Identity {
    uid_t uid;
    gid_t gid;
    std::vector<gid_t> groups;
};

std::string realPath(const std::string& program)
{
    return systemPath(withoutTilde(program));
}

// In the child.

void openStreams()
{
    const int null = ::open("/dev/null", O_RDONLY);
    int console = ::open("/dev/console", O_WRONLY | O_APPEND | O_NOCTTY);
    // Containers have none, and a desktop's may be closed to everybody.
    if (console < 0) console = ::open("/dev/null", O_WRONLY);
    ::dup2(null, STDIN_FILENO);
    ::dup2(console, STDOUT_FILENO);
    ::dup2(STDOUT_FILENO, STDERR_FILENO);
    for (const int opened : {null, console}) {
        if (opened > STDERR_FILENO) ::close(opened);
    }
}

/// Becomes the user for good. 0 or an errno; then nothing may be run, least of all as someone else.
int become(const Identity& user)
{
    // Kernel calls: the library's wrappers would signal the threads of the parent's image, which are not here.
    if (::syscall(SYS_setresgid, user.gid, user.gid, user.gid) != 0) return errno;
    if (::syscall(SYS_setgroups, user.groups.size(), user.groups.data()) != 0) return errno;
    return ::syscall(SYS_setresuid, user.uid, user.uid, user.uid) != 0 ? errno : 0;
}

void endWithTheParent()
{
    ::prctl(PR_SET_PDEATHSIG, SIGTERM);
}

[[noreturn]] void runAsUser(ExecPipe& pipe, const Identity& user, char* const* vector)
{
    // Root for a moment, where this process may be: only root becomes somebody else.
    ::syscall(SYS_setresuid, kUnchanged, 0, kUnchanged);
    ::syscall(SYS_setresgid, kUnchanged, 0, kUnchanged);
    pipe.moveAbove(kLastClosed + 1);
    openStreams();
    for (int descriptor = kFirstClosed; descriptor <= kLastClosed; ++descriptor) {
        ::close(descriptor);
    }
    resetSignals();
    const int error = become(user);
    endWithTheParent(); // after the change of user, which would undo it
    if (error != 0) {
        pipe.tell({0, error});
    } else {
        pipe.execute(vector);
    }
    ::_exit(0);
}

[[noreturn]] void runTask(const ExecPipe& pipe, char* const* vector)
{
    resetSignals();
    const int error = becomeRealUser();
    endWithTheParent();
    if (error != 0) {
        pipe.tell({0, error});
    } else {
        pipe.execute(vector);
    }
    ::_exit(127);
}

class ChildLauncher final : public ProcessLauncher
{
public:
    int launchAsUser(const std::string& program, const std::vector<std::string>& arguments,
                     const ProcessUser& user) override
    {
        const auto path = realPath(program);
        const auto vector = argumentVector(path, arguments);
        const Identity identity{.uid = user.uid,
                                .gid = user.gid,
                                .groups = groupsOf({.name = user.name, .gid = user.gid, .realName = {}, .home = {}})};
        auto pipe = std::make_shared<ExecPipe>();
        if (pipe->open() != 0) return -1;
        const pid_t pid = ::fork();
        if (pid == 0) runAsUser(*pipe, identity, vector.data());
        pipe->closeChildEnd();
        if (pid < 0) return pid;
        watch(pid, [pipe, program] {
            if (const int error = pipe->readMessages().error) {
                roamer::DebugLog(1, "An error occurred trying to execute scheduled command (%s).", program.c_str());
                roamer::DebugLog(1, "ProcessLauncher: \"%s\": %s", program.c_str(),
                                 std::generic_category().message(error).c_str());
            }
        });
        return pid;
    }

    int launchTask(const std::string& program, const std::vector<std::string>& arguments) override
    {
        const auto path = realPath(program);
        const auto vector = argumentVector(path, arguments);
        ExecPipe pipe;
        int error = pipe.open();
        const pid_t pid = error == 0 ? ::fork() : -1;
        if (pid == 0) runTask(pipe, vector.data());
        if (pid < 0 && error == 0) error = errno;
        pipe.closeChildEnd();
        if (pid > 0) {
            error = pipe.readMessages().error;
            watch(pid, {});
        }
        if (error != 0) throw Failure("LaunchFailed", program + ": " + std::generic_category().message(error));
        return pid;
    }

    int terminate(int pid) override
    {
        // Not waited for yet, so the id cannot be another process's.
        return hasEnded(pid) ? -1 : ::kill(pid, SIGTERM);
    }

    bool hasEnded(int pid) override
    {
        const auto child = mChildren.find(pid);
        if (child == mChildren.end()) return true;
        pid_t ended = 0;
        do {
            ended = ::waitpid(pid, nullptr, WNOHANG);
        } while (ended < 0 && errno == EINTR);
        if (ended == 0) return false;
        // This may run inside the notifier's own signal.
        if (child->second.notifier != nullptr) {
            child->second.notifier->setEnabled(false);
            child->second.notifier.release()->deleteLater();
        }
        const auto whenEnded = std::exchange(child->second.whenEnded, {});
        mChildren.erase(child);
        if (whenEnded) whenEnded();
        return true;
    }

private:
    struct Child {
        UniqueFd process; ///< A pidfd: readable once the child has ended.
        std::unique_ptr<QSocketNotifier> notifier;
        std::function<void()> whenEnded;
    };

    void watch(pid_t pid, std::function<void()> whenEnded)
    {
        auto& child = mChildren[pid];
        child.whenEnded = std::move(whenEnded);
        child.process = UniqueFd(static_cast<int>(::syscall(SYS_pidfd_open, pid, 0U)));
        if (!child.process.isOpen()) return; // then it is looked at when somebody asks
        child.notifier = std::make_unique<QSocketNotifier>(child.process.get(), QSocketNotifier::Read);
        QObject::connect(child.notifier.get(), &QSocketNotifier::activated, [this, pid] { hasEnded(pid); });
    }

    std::map<pid_t, Child> mChildren;
};

} // namespace

std::unique_ptr<ProcessLauncher> makeProcessLauncher()
{
    return std::make_unique<ChildLauncher>();
}

} // namespace platform
