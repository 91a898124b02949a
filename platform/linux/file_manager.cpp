#include "file_manager.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <fcntl.h>
#include <iterator>
#include <limits>
#include <linux/magic.h>
#include <linux/msdos_fs.h>
#include <map>
#include <optional>
#include <sys/ioctl.h>
#include <sys/stat.h>
#include <sys/vfs.h>
#include <sys/xattr.h>

#include "platform/system_root.h"
#include "unique_fd.h"

namespace platform
{

namespace
{

constexpr mode_t kNewFileMode = 0644; // whoever finds the home in use may read by whom
constexpr int kOpenAttempts = 3;

// Where a file's attributes with the "hidden" bit are.
constexpr auto kDosFileSystems =
    std::to_array<decltype(statfs::f_type)>({MSDOS_SUPER_MAGIC, EXFAT_SUPER_MAGIC, 0x7366746e /* ntfs3 */});
constexpr auto kSmbFileSystems = std::to_array<decltype(statfs::f_type)>({CIFS_SUPER_MAGIC, SMB2_SUPER_MAGIC});
constexpr const char* kSmbAttributes = "user.cifs.dosattrib";

int errorOfOpen(int error)
{
    switch (error) {
    case EACCES:
    case EPERM:
    case EROFS:
        return kFileNoPermission;
    case EBUSY: // what a server's sharing violation becomes
    case ETXTBSY:
        return kFileDeniedByOther;
    default:
        return error;
    }
}

/// Keeps others from taking the same lock; it goes with the last descriptor of this open file description.
int denyWriting(const UniqueFd& file)
{
    struct flock whole {
    };
    whole.l_type = F_WRLCK;
    whole.l_whence = SEEK_SET;
    if (fcntl(file.get(), F_OFD_SETLK, &whole) == 0) return kFileOk;
    switch (errno) {
    case EAGAIN:
    case EACCES: // how SMB servers put it
        return kFileDeniedByOther;
    case ENOLCK:
    case ENOSYS:
    case EOPNOTSUPP:
    case EINVAL:
        return kFileNoDenyMode;
    default:
        return errno;
    }
}

bool isFileName(const std::string& name)
{
    return !name.empty() && name != "." && name != ".." && name.find('/') == std::string::npos;
}

/// A folder that is no link. A slash at the end would have the kernel follow one.
UniqueFd openFolder(const std::string& path)
{
    std::string real = systemPath(path);
    while (real.size() > 1 && real.ends_with('/'))
        real.pop_back();
    return UniqueFd(open(real.c_str(), O_PATH | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC));
}

UniqueFd openIn(const UniqueFd& folder, const std::string& name, int flags)
{
    // A pipe or a device in the place of the file must not hold the process.
    constexpr int kAlways = O_NOFOLLOW | O_NONBLOCK | O_NOCTTY | O_CLOEXEC;
    return UniqueFd(openat(folder.get(), name.c_str(), flags | kAlways, kNewFileMode));
}

int setHidden(const UniqueFd& file)
{
    struct statfs volume {
    };
    if (fstatfs(file.get(), &volume) != 0) return errno;
    const auto is = [&volume](const auto& types) {
        return std::find(types.begin(), types.end(), volume.f_type) != types.end();
    };
    std::uint32_t attributes = 0;
    if (is(kDosFileSystems)) {
        if (ioctl(file.get(), FAT_IOCTL_GET_ATTRIBUTES, &attributes) != 0) return errno;
        attributes |= ATTR_HIDDEN;
        return ioctl(file.get(), FAT_IOCTL_SET_ATTRIBUTES, &attributes) == 0 ? kFileOk : errno;
    }
    if (is(kSmbFileSystems)) {
        if (fgetxattr(file.get(), kSmbAttributes, &attributes, sizeof attributes) < 0) return errno;
        attributes |= ATTR_HIDDEN;
        return fsetxattr(file.get(), kSmbAttributes, &attributes, sizeof attributes, 0) == 0 ? kFileOk : errno;
    }
    return kFileOk;
}

class LinuxFileManager final : public FileManager
{
public:
    int readFolderIdentity(const std::string& path, FolderIdentity& identity) override
    {
        const UniqueFd folder = openFolder(path);
        if (!folder.isOpen()) return kFileNoFolder;
        struct stat info {
        };
        if (fstat(folder.get(), &info) != 0) return errno;
        identity = {info.st_dev, info.st_ino};
        return kFileOk;
    }

    int createFile(const std::string& path, const std::string& name) override
    {
        const UniqueFd folder = openFolder(path);
        if (!folder.isOpen() || !isFileName(name)) return kFileNoFolder;
        return openIn(folder, name, O_WRONLY | O_CREAT | O_EXCL).isOpen() ? kFileOk : errno;
    }

    int hideFile(const std::string& path, const std::string& name) override
    {
        const UniqueFd folder = openFolder(path);
        if (!folder.isOpen() || !isFileName(name)) return kFileNoFolder;
        const UniqueFd file = openIn(folder, name, O_RDONLY);
        return file.isOpen() ? setHidden(file) : errno;
    }

    Opened openFile(const std::string& path, const std::string& name, Access access) override
    {
        const UniqueFd folder = openFolder(path);
        if (!folder.isOpen() || !isFileName(name)) return {kFileNoFolder, 0};
        for (int attempt = 0; attempt < kOpenAttempts; ++attempt) {
            // Nothing: it was replaced before the lock held.
            if (const auto opened = tryToOpen(folder, name, access)) return *opened;
        }
        return {kFileDeniedByOther, 0};
    }

    Got readFile(RefNum refNum, std::uint64_t offset, std::span<std::byte> buffer) override
    {
        const auto* file = find(refNum);
        if (file == nullptr) return {EBADF, 0};
        std::size_t bytes = 0;
        while (bytes < buffer.size()) {
            const ssize_t got =
                pread(file->fd.get(), buffer.data() + bytes, buffer.size() - bytes, static_cast<off_t>(offset + bytes));
            if (got < 0 && errno == EINTR) continue;
            if (got < 0) return {errno, bytes};
            if (got == 0) return {kFileAtEnd, bytes};
            bytes += static_cast<std::size_t>(got);
        }
        return {kFileOk, bytes};
    }

    int writeFile(RefNum refNum, std::uint64_t offset, std::span<const std::byte> bytes) override
    {
        const auto* file = find(refNum);
        if (file == nullptr) return EBADF;
        while (!bytes.empty()) {
            const ssize_t written = pwrite(file->fd.get(), bytes.data(), bytes.size(), static_cast<off_t>(offset));
            if (written < 0 && errno == EINTR) continue;
            if (written < 0) return errno;
            if (written == 0) return EIO;
            bytes = bytes.subspan(static_cast<std::size_t>(written));
            offset += static_cast<std::uint64_t>(written);
        }
        return kFileOk;
    }

    int setFileLength(RefNum refNum, std::uint64_t bytes) override
    {
        const auto* file = find(refNum);
        if (file == nullptr) return EBADF;
        return ftruncate(file->fd.get(), static_cast<off_t>(bytes)) == 0 ? kFileOk : errno;
    }

    int flushFile(RefNum refNum) override
    {
        const auto* file = find(refNum);
        if (file == nullptr) return EBADF;
        return fsync(file->fd.get()) == 0 ? kFileOk : errno;
    }

    int closeFile(RefNum refNum) override
    {
        auto file = mFiles.extract(refNum);
        if (file.empty()) return EBADF;
        // An interrupted close has closed all the same.
        return close(file.mapped().fd.release()) == 0 || errno == EINTR ? kFileOk : errno;
    }

    int deleteFile(const std::string& path, const std::string& name) override
    {
        const UniqueFd folder = openFolder(path);
        if (!folder.isOpen() || !isFileName(name)) return kFileNoFolder;
        return unlinkat(folder.get(), name.c_str(), 0) == 0 ? kFileOk : errno;
    }

private:
    struct OpenFile {
        UniqueFd fd;
        dev_t volume = 0;
        ino_t number = 0;
    };

    std::optional<Opened> tryToOpen(const UniqueFd& folder, const std::string& name, Access access)
    {
        UniqueFd fd = openIn(folder, name, O_RDWR);
        if (!fd.isOpen()) return Opened{errorOfOpen(errno), 0};
        struct stat info {
        };
        if (fstat(fd.get(), &info) != 0) return Opened{errno, 0};
        if (!S_ISREG(info.st_mode)) return Opened{EINVAL, 0};
        // A second name would lead a write to a file that lies somewhere else.
        if (info.st_nlink > 1) return Opened{EMLINK, 0};
        if (const RefNum before = findOpen(info); before != 0) return Opened{kFileOpenForWriting, before};

        if (access == Access::ReadWriteDenyWrite) {
            if (const int denied = denyWriting(fd)) return Opened{denied, 0};
            struct stat named {
            };
            if (fstatat(folder.get(), name.c_str(), &named, AT_SYMLINK_NOFOLLOW) != 0) return Opened{errno, 0};
            if (named.st_ino != info.st_ino || named.st_dev != info.st_dev) return std::nullopt;
        }
        const RefNum refNum = nextRefNum();
        mFiles.emplace(refNum, OpenFile{std::move(fd), info.st_dev, info.st_ino});
        return Opened{kFileOk, refNum};
    }

    const OpenFile* find(RefNum refNum) const
    {
        const auto file = mFiles.find(refNum);
        return file != mFiles.end() ? &file->second : nullptr;
    }

    RefNum findOpen(const struct stat& info) const
    {
        const auto file = std::find_if(mFiles.begin(), mFiles.end(), [&info](const auto& entry) {
            return entry.second.volume == info.st_dev && entry.second.number == info.st_ino;
        });
        return file != mFiles.end() ? file->first : RefNum{0};
    }

    RefNum nextRefNum()
    {
        do {
            mLastRefNum =
                mLastRefNum == std::numeric_limits<RefNum>::max() ? RefNum{1} : static_cast<RefNum>(mLastRefNum + 1);
        } while (mFiles.contains(mLastRefNum));
        return mLastRefNum;
    }

    std::map<RefNum, OpenFile> mFiles;
    RefNum mLastRefNum = 0;
};

} // namespace

std::unique_ptr<FileManager> makeFileManager()
{
    return std::make_unique<LinuxFileManager>();
}

} // namespace platform
