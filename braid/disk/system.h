#pragma once

#include <fcntl.h>
#include <sys/stat.h>
#include <sys/types.h>
#include <sys/vfs.h>

#include <array>
#include <atomic>
#include <cstddef>
#include <cstdint>
#include <ctime>
#include <string>
#include <vector>

namespace braid::disk
{

/// The operating system as far as the engine needs it. Every file operation of the library goes through here, but for
/// SQLite's on the archive, so that a test can put a disk of its own making below the engine.
///
/// Each function is the system call of its name: same arguments, same results, errno set after -1. Called from several
/// threads.
class System
{
public:
    virtual ~System() = default;

    /// An absolute path; links on the way are followed.
    virtual int open(const char* path, int flags) = 0;
    /// openat2(2) that stays below `folder` and on its file system, and follows no link.
    virtual int openBeneath(int folder, const char* path, int flags) = 0;
    virtual int openat(int folder, const char* name, int flags, mode_t mode) = 0;
    /// openat(2) with O_TMPFILE, for reading and writing. A system need not be able to.
    virtual int createUnnamed(int folder, mode_t mode);
    virtual int close(int descriptor) = 0;

    virtual int statx(int folder, const char* name, int flags, struct statx* facts) = 0;
    virtual int fstatfs(int descriptor, struct statfs* facts) = 0;
    /// May the effective user write in this open folder?
    virtual int mayWrite(int folder) = 0;
    /// Adds the names in the open folder but "." and ".." to `names`; to be called once for a descriptor.
    virtual int listNames(int folder, std::vector<std::string>& names) = 0;

    virtual ssize_t read(int file, void* bytes, std::size_t length) = 0;
    virtual ssize_t write(int file, const void* bytes, std::size_t length) = 0;
    virtual off_t lseek(int file, off_t offset, int whence) = 0;
    virtual ssize_t copy_file_range(int source, off_t* from, int target, off_t* to, std::size_t length) = 0;
    /// ioctl(2) FICLONE: `target` shares all blocks of `source`. A system need not be able to.
    virtual int clone(int target, int source);
    virtual int ftruncate(int file, off_t size) = 0;
    /// A system need not be able to.
    virtual int fallocate(int file, int mode, off_t offset, off_t length);

    virtual int mkdirat(int folder, const char* name, mode_t mode) = 0;
    virtual int symlinkat(const char* target, int folder, const char* name) = 0;
    virtual ssize_t readlinkat(int folder, const char* name, char* target, std::size_t size) = 0;
    virtual int linkat(int folder, const char* name, int newFolder, const char* newName) = 0;
    /// Gives the open file, which has no name, its first one; replaces nothing.
    virtual int linkUnnamed(int file, int newFolder, const char* newName);
    virtual int unlinkat(int folder, const char* name, int flags) = 0;
    virtual int renameat2(int folder, const char* name, int newFolder, const char* newName, unsigned flags) = 0;

    /// These also take a descriptor that was opened with O_PATH.
    virtual int fchmod(int item, mode_t mode) = 0;
    virtual ssize_t flistxattr(int item, char* names, std::size_t size) = 0;
    virtual ssize_t fgetxattr(int item, const char* name, void* value, std::size_t size) = 0;
    virtual int fsetxattr(int item, const char* name, const void* value, std::size_t size) = 0;
    virtual int fremovexattr(int item, const char* name) = 0;

    /// llistxattr(2) of an item in an open folder. Has an implementation by way of the calls above.
    virtual ssize_t llistxattr(int folder, const char* name, char* names, std::size_t size);

    /// `name` null: the open file or folder itself.
    virtual int utimensat(int folder, const char* name, const std::array<timespec, 2>& times) = 0;
    /// `name` "": the open file itself.
    virtual int fchownat(int folder, const char* name, uid_t owner, gid_t group) = 0;

    virtual int syncfs(int descriptor) = 0;
    virtual int fsync(int descriptor) = 0;
    /// fcntl(2) with F_OFD_SETLK or F_OFD_GETLK.
    virtual int lock(int file, int command, struct flock* range) = 0;

    /// Nanoseconds since 1970 UTC by this computer's clock, which people and servers may set.
    virtual std::int64_t now() = 0;
    virtual void randomBytes(void* bytes, std::size_t length) = 0;
    /// Lets so many nanoseconds pass, a few milliseconds at most.
    virtual void wait(std::int64_t nanoseconds);
    /// False: asks for one request after the other, from one thread.
    virtual bool isConcurrent() const = 0;
};

/// The kernel's own calls.
System& kernel();

extern std::atomic<System*> gSystem; ///< Null: the kernel.

inline System& system()
{
    System* const set = gSystem.load(std::memory_order_relaxed);
    return set ? *set : kernel();
}

} // namespace braid::disk
