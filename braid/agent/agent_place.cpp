#include "agent_place.h"

#include <array>
#include <cerrno>
#include <charconv>
#include <csignal>
#include <system_error>

#include <fcntl.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>

#include "util/debug_log.h"

namespace braid::agent
{

namespace
{

constexpr const char* kFileName = "agent";
// Far behind what the file holds: a lock needs no content.
constexpr off_t kLoginByte = 1000;
constexpr off_t kPlaceByte = 1001;

static_assert(AgentPlace::kLeaveSignal == SIGUSR1);

struct flock lockOf(off_t byte)
{
    struct flock range {
    };
    range.l_type = F_WRLCK;
    range.l_whence = SEEK_SET;
    range.l_start = byte;
    range.l_len = 1;
    return range;
}

} // namespace

bool AgentPlace::open()
{
    if (mFile >= 0) return true;
    const auto folder = mHome / ".Braid";
    if (::mkdir(folder.c_str(), 0700) == 0 || errno == EEXIST) {
        mFile = ::open((folder / kFileName).c_str(), O_RDWR | O_CREAT | O_NOFOLLOW | O_CLOEXEC, 0600);
    }
    if (mFile >= 0) return true;
    mReason = "\"" + folder.string() + "\": " + std::generic_category().message(errno);
    return false;
}

bool AgentPlace::lock(off_t byte)
{
    auto range = lockOf(byte);
    return ::fcntl(mFile, F_OFD_SETLK, &range) == 0;
}

void AgentPlace::unlock(off_t byte)
{
    auto range = lockOf(byte);
    range.l_type = F_UNLCK;
    ::fcntl(mFile, F_OFD_SETLK, &range);
}

bool AgentPlace::lockIsHeldByOther(off_t byte)
{
    auto range = lockOf(byte);
    return ::fcntl(mFile, F_OFD_GETLK, &range) == 0 && range.l_type != F_UNLCK;
}

AgentPlace::Attempt AgentPlace::tryToTake()
{
    if (mIsTaken) return Attempt::Taken;
    if (!open()) return Attempt::Impossible;
    // Always the login's lock first. A session's engine gives it back; a login's keeps it, so that a session's engine
    // that leaves does not come back at once.
    if (!lock(kLoginByte)) return Attempt::Busy;
    mIsTaken = lock(kPlaceByte);
    if (mKind == Kind::Session) unlock(kLoginByte);
    if (!mIsTaken) return Attempt::Busy;
    std::array<char, 32> text{};
    const auto end = std::to_chars(text.data(), text.data() + text.size(), ::getpid()).ptr;
    const auto length = static_cast<std::size_t>(end - text.data());
    if (::ftruncate(mFile, 0) != 0 || ::pwrite(mFile, text.data(), length, 0) < 0) {
        roamer::DebugLog(1, "place: the process id could not be written; a login will not find this engine");
    }
    return Attempt::Taken;
}

bool AgentPlace::loginIsAtWork()
{
    return open() && lockIsHeldByOther(kLoginByte);
}

std::optional<pid_t> AgentPlace::holder()
{
    // The kernel names no holder of such a lock, and the file may still name the one before.
    if (!lockIsHeldByOther(kPlaceByte)) return std::nullopt;
    std::array<char, 32> text{};
    const ssize_t length = ::pread(mFile, text.data(), text.size(), 0);
    pid_t pid = 0;
    if (length > 0) std::from_chars(text.data(), text.data() + length, pid);
    return pid > 0 ? std::optional(pid) : std::nullopt;
}

void AgentPlace::askHolderToLeave()
{
    if (!open()) return;
    const auto pid = holder();
    if (!pid || *pid == mAsked || *pid == ::getpid()) return;
    const auto process = static_cast<int>(::syscall(SYS_pidfd_open, *pid, 0U));
    if (process < 0) return;
    // Held and named the same after the process is pinned down: the number was not given to another one meanwhile.
    if (holder() == pid && ::syscall(SYS_pidfd_send_signal, process, kLeaveSignal, nullptr, 0U) == 0) {
        mAsked = *pid;
        roamer::DebugLog(1, "place: asked process=%d to leave", static_cast<int>(*pid));
    }
    ::close(process);
}

void AgentPlace::leave()
{
    if (mFile >= 0) ::close(mFile);
    mFile = -1;
    mIsTaken = false;
}

} // namespace braid::agent
