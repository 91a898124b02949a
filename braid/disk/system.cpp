#include "system.h"

#include <dirent.h>
#include <linux/fs.h>
#include <linux/openat2.h>
#include <sys/ioctl.h>
#include <sys/random.h>
#include <sys/syscall.h>
#include <sys/xattr.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <cstdio>
#include <cstring>
#include <thread>

#include "descriptor.h"

namespace braid::disk
{

std::atomic<System*> gSystem{nullptr};

int System::createUnnamed(int, mode_t)
{
    errno = EOPNOTSUPP;
    return -1;
}

int System::linkUnnamed(int, int, const char*)
{
    errno = EOPNOTSUPP;
    return -1;
}

int System::clone(int, int)
{
    errno = EOPNOTSUPP;
    return -1;
}

int System::fallocate(int, int, off_t, off_t)
{
    errno = EOPNOTSUPP;
    return -1;
}

ssize_t System::llistxattr(int folder, const char* name, char* names, std::size_t size)
{
    const int item = openat(folder, name, O_PATH | O_NOFOLLOW, 0);
    if (item < 0) return -1;
    const ssize_t length = flistxattr(item, names, size);
    const int code = errno;
    close(item);
    errno = code;
    return length;
}

void System::wait(std::int64_t nanoseconds)
{
    std::this_thread::sleep_for(std::chrono::nanoseconds{nanoseconds});
}

namespace
{

/// A path that reaches the item itself, for calls that refuse a descriptor opened with O_PATH.
std::string procPath(int item)
{
    return "/proc/self/fd/" + std::to_string(item);
}

class Kernel final : public System
{
public:
    int open(const char* path, int flags) override { return ::open(path, flags | O_CLOEXEC); }

    int openBeneath(int folder, const char* path, int flags) override
    {
        open_how how{};
        how.flags = static_cast<__u64>(flags | O_CLOEXEC);
        // Another process may swap a folder for a link while we walk; only the kernel can check as it opens.
        how.resolve = RESOLVE_BENEATH | RESOLVE_NO_SYMLINKS | RESOLVE_NO_XDEV;
        // glibc 2.36 has no wrapper.
        return static_cast<int>(::syscall(SYS_openat2, folder, path, &how, sizeof how));
    }

    int openat(int folder, const char* name, int flags, mode_t mode) override
    {
        return ::openat(folder, name, flags | O_CLOEXEC, mode);
    }
    int createUnnamed(int folder, mode_t mode) override
    {
        return ::openat(folder, ".", O_TMPFILE | O_RDWR | O_CLOEXEC, mode);
    }
    int close(int descriptor) override { return ::close(descriptor); }

    int statx(int folder, const char* name, int flags, struct statx* facts) override
    {
        return ::statx(folder, name, flags, STATX_BASIC_STATS, facts);
    }
    int fstatfs(int descriptor, struct statfs* facts) override { return ::fstatfs(descriptor, facts); }
    int mayWrite(int folder) override { return ::faccessat(folder, ".", W_OK | X_OK, AT_EACCESS); }

    int listNames(int folder, std::vector<std::string>& names) override
    {
        alignas(dirent64) std::array<char, 32768> buffer;
        while (true) {
            const ssize_t length = ::getdents64(folder, buffer.data(), buffer.size());
            if (length <= 0) return static_cast<int>(length);
            for (ssize_t at = 0; at < length;) {
                const auto* entry = reinterpret_cast<const dirent64*>(buffer.data() + at);
                const char* name = entry->d_name;
                if (std::strcmp(name, ".") != 0 && std::strcmp(name, "..") != 0) names.emplace_back(name);
                at += entry->d_reclen;
            }
        }
    }

    ssize_t read(int file, void* bytes, std::size_t length) override { return ::read(file, bytes, length); }
    ssize_t write(int file, const void* bytes, std::size_t length) override { return ::write(file, bytes, length); }
    off_t lseek(int file, off_t offset, int whence) override { return ::lseek(file, offset, whence); }
    ssize_t copy_file_range(int source, off_t* from, int target, off_t* to, std::size_t length) override
    {
        return ::copy_file_range(source, from, target, to, length, 0);
    }
    int clone(int target, int source) override { return ::ioctl(target, FICLONE, source); }
    int ftruncate(int file, off_t size) override { return ::ftruncate(file, size); }
    int fallocate(int file, int mode, off_t offset, off_t length) override
    {
        return ::fallocate(file, mode, offset, length);
    }

    int mkdirat(int folder, const char* name, mode_t mode) override { return ::mkdirat(folder, name, mode); }
    int symlinkat(const char* target, int folder, const char* name) override
    {
        return ::symlinkat(target, folder, name);
    }
    ssize_t readlinkat(int folder, const char* name, char* target, std::size_t size) override
    {
        return ::readlinkat(folder, name, target, size);
    }
    int linkat(int folder, const char* name, int newFolder, const char* newName) override
    {
        return ::linkat(folder, name, newFolder, newName, 0);
    }
    int linkUnnamed(int file, int newFolder, const char* newName) override
    {
        // Kernels before 6.10 let only root do it this way.
        const int result = ::linkat(file, "", newFolder, newName, AT_EMPTY_PATH);
        if (result == 0 || errno != ENOENT) return result;
        return ::linkat(AT_FDCWD, procPath(file).c_str(), newFolder, newName, AT_SYMLINK_FOLLOW);
    }
    int unlinkat(int folder, const char* name, int flags) override { return ::unlinkat(folder, name, flags); }
    int renameat2(int folder, const char* name, int newFolder, const char* newName, unsigned flags) override
    {
        return ::renameat2(folder, name, newFolder, newName, flags);
    }

    int fchmod(int item, mode_t mode) override
    {
        const int result = ::fchmod(item, mode);
        return result < 0 && errno == EBADF ? ::chmod(procPath(item).c_str(), mode) : result;
    }
    ssize_t flistxattr(int item, char* names, std::size_t size) override
    {
        const ssize_t result = ::flistxattr(item, names, size);
        return result < 0 && errno == EBADF ? ::listxattr(procPath(item).c_str(), names, size) : result;
    }
    ssize_t llistxattr(int folder, const char* name, char* names, std::size_t size) override
    {
        return ::llistxattr((procPath(folder) + '/' + name).c_str(), names, size);
    }
    ssize_t fgetxattr(int item, const char* name, void* value, std::size_t size) override
    {
        const ssize_t result = ::fgetxattr(item, name, value, size);
        return result < 0 && errno == EBADF ? ::getxattr(procPath(item).c_str(), name, value, size) : result;
    }
    int fsetxattr(int item, const char* name, const void* value, std::size_t size) override
    {
        const int result = ::fsetxattr(item, name, value, size, 0);
        return result < 0 && errno == EBADF ? ::setxattr(procPath(item).c_str(), name, value, size, 0) : result;
    }
    int fremovexattr(int item, const char* name) override
    {
        const int result = ::fremovexattr(item, name);
        return result < 0 && errno == EBADF ? ::removexattr(procPath(item).c_str(), name) : result;
    }

    int utimensat(int folder, const char* name, const std::array<timespec, 2>& times) override
    {
        return name ? ::utimensat(folder, name, times.data(), AT_SYMLINK_NOFOLLOW) : ::futimens(folder, times.data());
    }
    int fchownat(int folder, const char* name, uid_t owner, gid_t group) override
    {
        return ::fchownat(folder, name, owner, group, AT_SYMLINK_NOFOLLOW | AT_EMPTY_PATH);
    }

    int syncfs(int descriptor) override { return ::syncfs(descriptor); }
    int fsync(int descriptor) override { return ::fsync(descriptor); }
    int lock(int file, int command, struct flock* range) override { return ::fcntl(file, command, range); }

    std::int64_t now() override
    {
        return std::chrono::nanoseconds{std::chrono::system_clock::now().time_since_epoch()}.count();
    }
    void randomBytes(void* bytes, std::size_t length) override
    {
        // The pool is ready long before anyone logs in, and a request this small is never cut short.
        while (::getrandom(bytes, length, 0) < 0 && errno == EINTR) {}
    }
    bool isConcurrent() const override { return true; }
};

} // namespace

System& kernel()
{
    static Kernel calls;
    return calls;
}

void close(int descriptor)
{
    system().close(descriptor);
}

} // namespace braid::disk
