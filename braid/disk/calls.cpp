#include "calls.h"

#include <fcntl.h>
#include <linux/magic.h>
#include <linux/openat2.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <sys/vfs.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdio>
#include <limits>

#include "seam.h"

namespace braid::disk
{

namespace
{

using seam::Operation;

constexpr int kMaxRaces = 16;
constexpr std::size_t kMaxPathPiece = 2048; // PATH_MAX is 4096; well below it with any root in front
constexpr std::int64_t kNanosecondsPerSecond = 1'000'000'000;

int lastError(int result)
{
    return result < 0 ? errno : 0;
}

Outcome<Descriptor> openBeneath(int root, const std::string& path, int flags)
{
    open_how how{};
    how.flags = static_cast<__u64>(flags | O_CLOEXEC);
    // Another process may swap a folder for a link while we walk; only the kernel can check as it opens.
    how.resolve = RESOLVE_BENEATH | RESOLVE_NO_SYMLINKS | RESOLVE_NO_XDEV;
    long number = -1;
    for (int attempt = 0; attempt < kMaxRaces; ++attempt) {
        number = ::syscall(SYS_openat2, root, path.c_str(), &how, sizeof how);
        if (number >= 0 || (errno != EINTR && errno != EAGAIN)) break;
    }
    if (number < 0) return Problem{errno, "open the folder", path};
    seam::inherit(root, static_cast<int>(number));
    return Descriptor{static_cast<int>(number)};
}

Kind kindOf(unsigned mode)
{
    switch (mode & S_IFMT) {
    case S_IFREG:
        return Kind::File;
    case S_IFDIR:
        return Kind::Folder;
    case S_IFLNK:
        return Kind::Link;
    default:
        return Kind::Other;
    }
}

std::int64_t nanoseconds(const statx_timestamp& time)
{
    // Some file systems keep years that 64 bits of nanoseconds do not reach; such a time counts as the last that they
    // do.
    constexpr std::int64_t kReach = std::numeric_limits<std::int64_t>::max() / kNanosecondsPerSecond - 1;
    if (time.tv_sec > kReach || time.tv_sec < -kReach)
        return (time.tv_sec < 0 ? -kReach : kReach) * kNanosecondsPerSecond;
    return time.tv_sec * kNanosecondsPerSecond + time.tv_nsec;
}

Stat statFrom(const struct statx& raw)
{
    Stat stat;
    stat.kind = kindOf(raw.stx_mode);
    stat.mode = stat.kind == Kind::Link ? std::uint16_t{0} : static_cast<std::uint16_t>(raw.stx_mode & 07777);
    stat.owner = raw.stx_uid;
    stat.group = raw.stx_gid;
    stat.inode = raw.stx_ino;
    stat.device = (std::uint64_t{raw.stx_dev_major} << 32) | raw.stx_dev_minor;
    stat.size = stat.kind == Kind::Folder ? 0 : static_cast<std::int64_t>(raw.stx_size);
    stat.sparse = stat.kind == Kind::File && raw.stx_blocks * 512 < raw.stx_size;
    stat.mtime = nanoseconds(raw.stx_mtime);
    stat.ctime = nanoseconds(raw.stx_ctime);
    return stat;
}

/// A path that reaches the item itself for calls that would follow a link or that know no folder descriptor.
std::string procPath(const Descriptor& item)
{
    return "/proc/self/fd/" + std::to_string(item.number());
}

} // namespace

Outcome<Descriptor> openFolder(int root, std::string_view path)
{
    if (int code = seam::ask(Operation::OpenFolder, root, std::string{nameOf(path)}.c_str())) {
        return Problem{code, "open the folder", std::string{path}};
    }
    constexpr int kFlags = O_RDONLY | O_DIRECTORY | O_NONBLOCK;
    if (path.empty()) return openBeneath(root, ".", kFlags);
    Descriptor held;
    int base = root;
    while (path.size() > kMaxPathPiece) {
        const auto slash = path.rfind('/', kMaxPathPiece);
        if (slash == std::string_view::npos) break;
        auto next = openBeneath(base, std::string{path.substr(0, slash)}, O_PATH | O_DIRECTORY);
        if (!next) return next;
        held = std::move(*next);
        base = held.number();
        path.remove_prefix(slash + 1);
    }
    return openBeneath(base, std::string{path}, kFlags);
}

Outcome<Stat> statAt(int folder, const char* name)
{
    if (int code = seam::ask(Operation::Stat, folder, name)) return Problem{code, "look at it", name};
    struct statx raw {
    };
    if (::statx(folder, name, AT_SYMLINK_NOFOLLOW | AT_NO_AUTOMOUNT, STATX_BASIC_STATS, &raw) < 0) {
        if (errno == ENOENT) return Stat{};
        return Problem{errno, "look at it", name};
    }
    return statFrom(raw);
}

Outcome<Stat> statOf(int descriptor)
{
    if (int code = seam::ask(Operation::Stat, descriptor, "")) return Problem{code, "look at it", ""};
    struct statx raw {
    };
    if (::statx(descriptor, "", AT_EMPTY_PATH, STATX_BASIC_STATS, &raw) < 0) return Problem{errno, "look at it", ""};
    return statFrom(raw);
}

Outcome<Descriptor> openFile(int folder, const char* name)
{
    if (int code = seam::ask(Operation::OpenFile, folder, name)) return Problem{code, "read it", name};
    constexpr int kFlags = O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC;
    int number = ::openat(folder, name, kFlags | O_NOATIME);
    if (number < 0 && errno == EPERM) number = ::openat(folder, name, kFlags); // only the owner may leave atime alone
    if (number < 0) return Problem{errno, "read it", name};
    seam::inherit(folder, number);
    return Descriptor{number};
}

Outcome<Descriptor> createFile(int folder, const char* name)
{
    if (int code = seam::ask(Operation::Create, folder, name)) return Problem{code, "write a copy of it", name};
    const int number = ::openat(folder, name, O_RDWR | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, 0600);
    if (number < 0) return Problem{errno, "write a copy of it", name};
    seam::inherit(folder, number);
    return Descriptor{number};
}

int makeFolder(int folder, const char* name, std::uint16_t mode)
{
    if (int code = seam::ask(Operation::MakeFolder, folder, name)) return code;
    return lastError(::mkdirat(folder, name, mode));
}

int makeLink(int folder, const char* name, const std::string& target)
{
    if (int code = seam::ask(Operation::MakeLink, folder, name)) return code;
    return lastError(::symlinkat(target.c_str(), folder, name));
}

Outcome<std::string> readLink(int folder, const char* name)
{
    if (int code = seam::ask(Operation::ReadLink, folder, name)) return Problem{code, "read the link", name};
    std::string target(4096, '\0');
    const ssize_t length = ::readlinkat(folder, name, target.data(), target.size());
    if (length < 0) return Problem{errno, "read the link", name};
    target.resize(static_cast<std::size_t>(length));
    return target;
}

int unlink(int folder, const char* name)
{
    if (int code = seam::ask(Operation::Unlink, folder, name)) return code;
    return lastError(::unlinkat(folder, name, 0));
}

int removeFolder(int folder, const char* name)
{
    if (int code = seam::ask(Operation::RemoveFolder, folder, name)) return code;
    return lastError(::unlinkat(folder, name, AT_REMOVEDIR));
}

int renameNew(int fromFolder, const char* from, int toFolder, const char* to)
{
    if (int code = seam::ask(Operation::Rename, fromFolder, to)) return code;
    int code = lastError(::renameat2(fromFolder, from, toFolder, to, RENAME_NOREPLACE));
    if (code != EINVAL && code != ENOSYS) return code;

    code = lastError(::linkat(fromFolder, from, toFolder, to, 0));
    if (code == 0) return lastError(::unlinkat(fromFolder, from, 0));
    if (code == EEXIST || code == ENOENT || code == ENOSPC) return code;

    const auto there = statAt(toFolder, to);
    if (!there) return there.problem().code;
    if (there->exists()) return EEXIST;
    return lastError(::renameat(fromFolder, from, toFolder, to));
}

int exchange(int oneFolder, const char* one, int otherFolder, const char* other)
{
    if (int code = seam::ask(Operation::Exchange, oneFolder, other)) return code;
    return lastError(::renameat2(oneFolder, one, otherFolder, other, RENAME_EXCHANGE));
}

int renameOver(int fromFolder, const char* from, int toFolder, const char* to)
{
    if (int code = seam::ask(Operation::Rename, fromFolder, to)) return code;
    return lastError(::renameat(fromFolder, from, toFolder, to));
}

int setMode(int folder, const char* name, std::uint16_t mode)
{
    if (int code = seam::ask(Operation::Restamp, folder, name)) return code;
    // fchmodat() follows links; a handle on the item itself does not.
    const Descriptor item{::openat(folder, name, O_PATH | O_NOFOLLOW | O_CLOEXEC)};
    if (!item) return errno;
    return lastError(::chmod(procPath(item).c_str(), mode));
}

int setMode(int file, std::uint16_t mode)
{
    if (int code = seam::ask(Operation::Restamp, file, "")) return code;
    return lastError(::fchmod(file, mode));
}

namespace
{

/// As utimensat(2) takes them: the access time stays.
std::array<timespec, 2> timesFor(std::int64_t mtime)
{
    std::int64_t seconds = mtime / kNanosecondsPerSecond;
    std::int64_t rest = mtime % kNanosecondsPerSecond;
    if (rest < 0) {
        rest += kNanosecondsPerSecond;
        --seconds;
    }
    return {timespec{0, UTIME_OMIT}, timespec{seconds, rest}};
}

} // namespace

int setModifiedTime(int folder, const char* name, std::int64_t mtime)
{
    if (int code = seam::ask(Operation::Restamp, folder, name)) return code;
    return lastError(::utimensat(folder, name, timesFor(mtime).data(), AT_SYMLINK_NOFOLLOW));
}

int setModifiedTime(int file, std::int64_t mtime)
{
    if (int code = seam::ask(Operation::Restamp, file, "")) return code;
    return lastError(::futimens(file, timesFor(mtime).data()));
}

int setOwner(int folder, const char* name, std::uint32_t owner, std::uint32_t group)
{
    if (int code = seam::ask(Operation::Restamp, folder, name)) return code;
    return lastError(::fchownat(folder, name, owner, group, AT_SYMLINK_NOFOLLOW));
}

int setOwner(int file, std::uint32_t owner, std::uint32_t group)
{
    if (int code = seam::ask(Operation::Restamp, file, "")) return code;
    return lastError(::fchown(file, owner, group));
}

int syncFileSystem(int descriptor)
{
    if (int code = seam::ask(Operation::Durable, descriptor, "")) return code;
    return lastError(::syncfs(descriptor));
}

int syncFile(int descriptor)
{
    if (int code = seam::ask(Operation::Durable, descriptor, "")) return code;
    const int code = lastError(::fsync(descriptor));
    return code == EINVAL ? 0 : code; // a file system that cannot flush folders says so this way
}

bool syncsAsAWhole(int descriptor)
{
    constexpr auto kMagics = std::to_array<std::uint64_t>(
        {EXT4_SUPER_MAGIC, BTRFS_SUPER_MAGIC, XFS_SUPER_MAGIC, TMPFS_MAGIC, F2FS_SUPER_MAGIC, OVERLAYFS_SUPER_MAGIC});
    struct statfs facts {
    };
    if (::fstatfs(descriptor, &facts) < 0) return false;
    return std::ranges::find(kMagics, static_cast<std::uint64_t>(facts.f_type)) != kMagics.end();
}

} // namespace braid::disk
