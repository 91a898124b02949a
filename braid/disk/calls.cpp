#include "calls.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <sys/vfs.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <limits>
#include <system_error>
#include <thread>

#include "file_system.h"
#include "seam.h"
#include "system.h"

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
    int number = -1;
    for (int attempt = 0; attempt < kMaxRaces; ++attempt) {
        number = system().openBeneath(root, path.c_str(), flags);
        if (number >= 0 || (errno != EINTR && errno != EAGAIN)) break;
    }
    if (number < 0) return Problem{errno, "open the folder", path};
    seam::inherit(root, number);
    return Descriptor{number};
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
    stat.linked = stat.kind == Kind::File && raw.stx_nlink > 1;
    stat.mtime = nanoseconds(raw.stx_mtime);
    stat.ctime = nanoseconds(raw.stx_ctime);
    return stat;
}

} // namespace

Outcome<Descriptor> openTop(const std::string& path)
{
    const int number = system().open(path.c_str(), O_RDONLY | O_DIRECTORY);
    if (number < 0) return Problem{errno, "open the folder", path};
    seam::inherit(-1, number); // the number may have been another's
    return Descriptor{number};
}

Outcome<Descriptor> openParent(int folder)
{
    const int number = system().openat(folder, "..", O_PATH | O_DIRECTORY, 0);
    if (number < 0) return Problem{errno, "open the folder", ".."};
    return Descriptor{number};
}

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
    if (system().statx(folder, name, AT_SYMLINK_NOFOLLOW | AT_NO_AUTOMOUNT, &raw) < 0) {
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
    if (system().statx(descriptor, "", AT_EMPTY_PATH, &raw) < 0) return Problem{errno, "look at it", ""};
    return statFrom(raw);
}

Outcome<Stat> statPath(const std::string& path)
{
    struct statx raw {
    };
    if (system().statx(AT_FDCWD, path.c_str(), 0, &raw) < 0) {
        if (errno == ENOENT) return Stat{};
        return Problem{errno, "look at it", path};
    }
    return statFrom(raw);
}

Outcome<Descriptor> openFile(int folder, const char* name)
{
    if (int code = seam::ask(Operation::OpenFile, folder, name)) return Problem{code, "read it", name};
    constexpr int kFlags = O_RDONLY | O_NOFOLLOW | O_NONBLOCK;
    int number = system().openat(folder, name, kFlags | O_NOATIME, 0);
    if (number < 0 && errno == EPERM)
        number = system().openat(folder, name, kFlags, 0); // only the owner may leave atime alone
    if (number < 0) return Problem{errno, "read it", name};
    seam::inherit(folder, number);
    return Descriptor{number};
}

Outcome<Descriptor> createFile(int folder, const char* name, std::uint16_t mode)
{
    if (int code = seam::ask(Operation::Create, folder, name)) return Problem{code, "write a copy of it", name};
    const int number = system().openat(folder, name, O_RDWR | O_CREAT | O_EXCL | O_NOFOLLOW, mode);
    if (number < 0) return Problem{errno, "write a copy of it", name};
    seam::inherit(folder, number);
    return Descriptor{number};
}

Outcome<Descriptor> createUnnamed(int folder, std::uint16_t mode)
{
    if (int code = seam::ask(Operation::Create, folder, "")) return Problem{code, "write a copy of it", ""};
    const int number = system().createUnnamed(folder, mode);
    if (number < 0) return Problem{errno, "write a copy of it", ""};
    seam::inherit(folder, number);
    return Descriptor{number};
}

void closeBehind(Descriptor&& file)
{
    Descriptor mine = std::move(file);
    if (!system().isConcurrent()) return;
    try {
        std::thread([closes = std::move(mine)] {}).detach();
    } catch (const std::system_error&) {
        // No thread is to be had: it is closed by now.
    }
}

Outcome<Descriptor> openToWrite(int folder, const char* name, bool makes)
{
    const auto operation = makes ? Operation::Create : Operation::OpenFile;
    if (int code = seam::ask(operation, folder, name)) return Problem{code, "open the file", name};
    const int number = system().openat(folder, name, O_RDWR | (makes ? O_CREAT : 0) | O_NOFOLLOW, 0600);
    if (number < 0) return Problem{errno, "open the file", name};
    seam::inherit(folder, number);
    return Descriptor{number};
}

Outcome<std::string> readSmall(int file, std::size_t most)
{
    if (int code = seam::ask(Operation::Read, file, "")) return Problem{code, "read it", ""};
    if (system().lseek(file, 0, SEEK_SET) < 0) return Problem{errno, "read it", ""};
    std::string text(most, '\0');
    std::size_t length = 0;
    while (length < most) {
        const ssize_t got = system().read(file, text.data() + length, most - length);
        if (got < 0 && errno == EINTR) continue;
        if (got < 0) return Problem{errno, "read it", ""};
        if (got == 0) break;
        length += static_cast<std::size_t>(got);
    }
    text.resize(length);
    return text;
}

int rewrite(int file, std::string_view text)
{
    if (int code = seam::ask(Operation::Write, file, "")) return code;
    if (system().ftruncate(file, 0) < 0 || system().lseek(file, 0, SEEK_SET) < 0) return errno;
    while (!text.empty()) {
        const ssize_t put = system().write(file, text.data(), text.size());
        if (put < 0 && errno == EINTR) continue;
        if (put < 0) return errno;
        text.remove_prefix(static_cast<std::size_t>(put));
    }
    return 0;
}

int makeFolder(int folder, const char* name, std::uint16_t mode)
{
    if (int code = seam::ask(Operation::MakeFolder, folder, name)) return code;
    return lastError(system().mkdirat(folder, name, mode));
}

int makeLink(int folder, const char* name, const std::string& target)
{
    if (int code = seam::ask(Operation::MakeLink, folder, name)) return code;
    return lastError(system().symlinkat(target.c_str(), folder, name));
}

int addName(int folder, const char* name, int newFolder, const char* newName)
{
    if (int code = seam::ask(Operation::HardLink, newFolder, newName)) return code;
    return lastError(system().linkat(folder, name, newFolder, newName));
}

int nameFile(int file, int folder, const char* name)
{
    if (int code = seam::ask(Operation::Rename, folder, name)) return code;
    return lastError(system().linkUnnamed(file, folder, name));
}

Outcome<std::string> readLink(int folder, const char* name)
{
    if (int code = seam::ask(Operation::ReadLink, folder, name)) return Problem{code, "read the link", name};
    std::string target(4096, '\0');
    const ssize_t length = system().readlinkat(folder, name, target.data(), target.size());
    if (length < 0) return Problem{errno, "read the link", name};
    target.resize(static_cast<std::size_t>(length));
    return target;
}

int unlink(int folder, const char* name)
{
    if (int code = seam::ask(Operation::Unlink, folder, name)) return code;
    return lastError(system().unlinkat(folder, name, 0));
}

int removeFolder(int folder, const char* name)
{
    if (int code = seam::ask(Operation::RemoveFolder, folder, name)) return code;
    return lastError(system().unlinkat(folder, name, AT_REMOVEDIR));
}

int removeTree(int folder, const char* name)
{
    const auto stat = statAt(folder, name);
    if (!stat) return stat.problem().code;
    if (!stat->exists()) return 0;
    if (stat->kind != Kind::Folder) return unlink(folder, name);
    int first = 0;
    {
        const auto opened = openFolder(folder, name);
        if (!opened) return opened.problem().code;
        std::vector<std::string> names;
        if (system().listNames(opened->number(), names) < 0) return errno;
        for (const std::string& below : names) {
            const int code = removeTree(opened->number(), below.c_str());
            if (first == 0) first = code;
        }
    }
    return first != 0 ? first : removeFolder(folder, name);
}

std::uint64_t bytesBelow(int root, const std::string& path)
{
    const auto folder = openFolder(root, path);
    std::vector<std::string> names;
    if (!folder || system().listNames(folder->number(), names) < 0) return 0;
    std::uint64_t bytes = 0;
    for (const std::string& name : names) {
        const auto stat = statAt(folder->number(), name.c_str());
        if (!stat) continue;
        if (stat->kind == Kind::File) bytes += static_cast<std::uint64_t>(stat->size);
        if (stat->kind == Kind::Folder) bytes += bytesBelow(folder->number(), name);
    }
    return bytes;
}

int renameNew(int fromFolder, const char* from, int toFolder, const char* to)
{
    if (int code = seam::ask(Operation::Rename, fromFolder, to)) return code;
    int code = lastError(system().renameat2(fromFolder, from, toFolder, to, RENAME_NOREPLACE));
    if (code != EINVAL && code != ENOSYS) return code;

    if (!numbersNames(toFolder)) {
        code = lastError(system().linkat(fromFolder, from, toFolder, to));
        if (code == 0) return lastError(system().unlinkat(fromFolder, from, 0));
        if (code == EEXIST || code == ENOENT || code == ENOSPC) return code;
    }
    const auto there = statAt(toFolder, to);
    if (!there) return there.problem().code;
    if (there->exists()) return EEXIST;
    return lastError(system().renameat2(fromFolder, from, toFolder, to, 0));
}

int exchange(int oneFolder, const char* one, int otherFolder, const char* other)
{
    if (int code = seam::ask(Operation::Exchange, oneFolder, other)) return code;
    return lastError(system().renameat2(oneFolder, one, otherFolder, other, RENAME_EXCHANGE));
}

int renameOver(int fromFolder, const char* from, int toFolder, const char* to)
{
    if (int code = seam::ask(Operation::Rename, fromFolder, to)) return code;
    return lastError(system().renameat2(fromFolder, from, toFolder, to, 0));
}

int setMode(int folder, const char* name, std::uint16_t mode)
{
    if (int code = seam::ask(Operation::Restamp, folder, name)) return code;
    // fchmodat() follows links; a handle on the item itself does not.
    const Descriptor item{system().openat(folder, name, O_PATH | O_NOFOLLOW, 0)};
    if (!item) return errno;
    return lastError(system().fchmod(item.number(), mode));
}

int setMode(int file, std::uint16_t mode)
{
    if (int code = seam::ask(Operation::Restamp, file, "")) return code;
    return lastError(system().fchmod(file, mode));
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
    return lastError(system().utimensat(folder, name, timesFor(mtime)));
}

int setModifiedTime(int file, std::int64_t mtime)
{
    if (int code = seam::ask(Operation::Restamp, file, "")) return code;
    return lastError(system().utimensat(file, nullptr, timesFor(mtime)));
}

int setOwner(int folder, const char* name, std::uint32_t owner, std::uint32_t group)
{
    if (int code = seam::ask(Operation::Restamp, folder, name)) return code;
    return lastError(system().fchownat(folder, name, owner, group));
}

int setOwner(int file, std::uint32_t owner, std::uint32_t group)
{
    if (int code = seam::ask(Operation::Restamp, file, "")) return code;
    return lastError(system().fchownat(file, "", owner, group));
}

int stampNow(int item)
{
    if (int code = seam::ask(Operation::Restamp, item, "")) return code;
    return lastError(system().utimensat(item, nullptr, {timespec{0, UTIME_NOW}, timespec{0, UTIME_NOW}}));
}

namespace
{

struct flock wholeFile()
{
    struct flock range {
    };
    range.l_type = F_WRLCK;
    range.l_whence = SEEK_SET;
    return range;
}

} // namespace

int lockFile(int file)
{
    struct flock range = wholeFile();
    const int code = lastError(system().lock(file, F_OFD_SETLK, &range));
    return code == EACCES ? EWOULDBLOCK : code; // over CIFS a lock that another process holds is EACCES
}

bool isLockFree(int file)
{
    struct flock range = wholeFile();
    return system().lock(file, F_OFD_GETLK, &range) == 0 && range.l_type == F_UNLCK;
}

int syncFileSystem(int descriptor)
{
    if (int code = seam::ask(Operation::Durable, descriptor, "")) return code;
    return lastError(system().syncfs(descriptor));
}

int syncFile(int descriptor)
{
    if (int code = seam::ask(Operation::Durable, descriptor, "")) return code;
    const int code = lastError(system().fsync(descriptor));
    return code == EINVAL ? 0 : code; // a file system that cannot flush folders says so this way
}

} // namespace braid::disk
