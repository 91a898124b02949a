#include "preference_store.h"

#include <array>
#include <cerrno>
#include <cstdio>
#include <fcntl.h>
#include <linux/openat2.h>
#include <random>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>

#include "platform/system_root.h"
#include "property_list_limits.h"
#include "unique_fd.h"
#include "util/path_text.h"

namespace platform
{

namespace
{

constexpr const char* kManagedFolder = "/Library/Managed Preferences";
constexpr std::string_view kTemporaryPrefix = ".fstemp"; // names that the engine never syncs
constexpr mode_t kNewFileMode = 0666;                    // less the process's mask
constexpr int kTemporaryAttempts = 100;
constexpr int kOpenAttempts = 8;

bool writeAll(const UniqueFd& file, std::span<const std::byte> bytes)
{
    while (!bytes.empty()) {
        const ssize_t written = write(file.get(), bytes.data(), bytes.size());
        if (written < 0 && errno == EINTR) continue;
        if (written <= 0) return false;
        bytes = bytes.subspan(static_cast<std::size_t>(written));
    }
    return true;
}

std::optional<std::vector<std::byte>> readAll(const UniqueFd& file)
{
    std::vector<std::byte> bytes;
    std::array<std::byte, 65536> buffer{};
    while (true) {
        const ssize_t got = read(file.get(), buffer.data(), buffer.size());
        if (got < 0 && errno == EINTR) continue;
        if (got < 0) return std::nullopt;
        if (got == 0) return bytes;
        bytes.insert(bytes.end(), buffer.begin(), buffer.begin() + got);
        if (bytes.size() > kMaxPropertyListBytes) return std::nullopt;
    }
}

std::optional<std::vector<std::byte>> readRegularFile(const UniqueFd& file)
{
    struct stat info {
    };
    if (!file.isOpen() || fstat(file.get(), &info) != 0 || !S_ISREG(info.st_mode)) return std::nullopt;
    return readAll(file);
}

/// Where a write to `path` goes: the end of a chain of links. Nothing when a link belongs to someone else than what it
/// leads to: whoever may place a link in a home must not choose which file of another user the process replaces.
std::optional<std::string> writeTarget(const std::string& path)
{
    struct stat link {
    };
    if (lstat(path.c_str(), &link) != 0 || !S_ISLNK(link.st_mode)) return path;
    struct stat target {
    };
    if (stat(path.c_str(), &target) != 0 || target.st_uid != link.st_uid) return std::nullopt;
    std::array<char, PATH_MAX> resolved{};
    if (realpath(path.c_str(), resolved.data()) == nullptr) return std::nullopt;
    return std::string(resolved.data());
}

UniqueFd openFolder(const std::string& path)
{
    return UniqueFd(open(path.c_str(), O_PATH | O_DIRECTORY | O_CLOEXEC));
}

/// A home that is no link. A slash at the end would have the kernel follow one.
UniqueFd openHome(const std::string& path)
{
    std::string real = systemPath(path);
    while (real.size() > 1 && real.ends_with('/'))
        real.pop_back();
    return UniqueFd(open(real.c_str(), O_PATH | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC));
}

/// Opens what lies below the folder, through links that stay below it only.
UniqueFd openBeneath(const UniqueFd& folder, const std::string& path, std::uint64_t flags)
{
    open_how how{};
    how.flags = flags | O_CLOEXEC;
    how.resolve = RESOLVE_BENEATH | RESOLVE_NO_MAGICLINKS;
    long fd = -1;
    for (int attempt = 0; attempt < kOpenAttempts; ++attempt) {
        fd = syscall(SYS_openat2, folder.get(), path.empty() ? "." : path.c_str(), &how, sizeof how);
        if (fd >= 0 || (errno != EINTR && errno != EAGAIN)) break; // EAGAIN: something was renamed on the way
    }
    return UniqueFd(static_cast<int>(fd));
}

/// A new file beside the one it will replace; removed again unless it was put in place.
class Replacement
{
public:
    /// Borrows the folder, which may be open as a path only.
    Replacement(const UniqueFd& folder, std::string name) : mFolder(folder), mTarget(std::move(name))
    {
        std::random_device random;
        for (int attempt = 0; attempt < kTemporaryAttempts && !mFile.isOpen(); ++attempt) {
            mName = std::string(kTemporaryPrefix) + std::to_string(random());
            constexpr int kFlags = O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC;
            mFile = UniqueFd(openat(mFolder.get(), mName.c_str(), kFlags, kNewFileMode));
            if (!mFile.isOpen() && errno != EEXIST) break;
        }
        mMustRemove = mFile.isOpen();
    }
    ~Replacement()
    {
        if (mMustRemove) unlinkat(mFolder.get(), mName.c_str(), 0);
    }
    Replacement(const Replacement&) = delete;
    Replacement& operator=(const Replacement&) = delete;

    /// The content is on disk before the name leads to it, and the name before this returns.
    bool replaceWith(std::span<const std::byte> bytes)
    {
        if (!mFile.isOpen() || !takeOverOwnerAndMode()) return false;
        if (!writeAll(mFile, bytes) || fsync(mFile.get()) != 0) return false;
        if (renameat(mFolder.get(), mName.c_str(), mFolder.get(), mTarget.c_str()) != 0) return false;
        mMustRemove = false;
        // The new file is in place whatever comes; some network file systems cannot sync a folder.
        const UniqueFd folder(openat(mFolder.get(), ".", O_RDONLY | O_DIRECTORY | O_CLOEXEC));
        if (folder.isOpen()) static_cast<void>(fsync(folder.get()));
        return true;
    }

    /// Before the content goes in.
    void giveToOwnerOfFolder()
    {
        struct stat folder {
        };
        struct stat now {
        };
        if (fstat(mFolder.get(), &folder) != 0 || fstat(mFile.get(), &now) != 0) return;
        const bool isOthers = folder.st_uid != now.st_uid;
        if (isOthers) static_cast<void>(fchown(mFile.get(), folder.st_uid, folder.st_gid) == 0);
    }

private:
    bool takeOverOwnerAndMode()
    {
        struct stat before {
        };
        if (fstatat(mFolder.get(), mTarget.c_str(), &before, AT_SYMLINK_NOFOLLOW) != 0) return errno == ENOENT;
        if (!S_ISREG(before.st_mode)) return false;
        struct stat now {
        };
        if (fstat(mFile.get(), &now) != 0) return false;
        mode_t mode = before.st_mode & 07777U;
        const bool isOthers = now.st_uid != before.st_uid || now.st_gid != before.st_gid;
        if (isOthers && fchown(mFile.get(), before.st_uid, before.st_gid) != 0) {
            if (now.st_uid != before.st_uid) return false;
            mode &= ~static_cast<mode_t>(S_IRWXG); // what the old group might do is no right of the new one
        }
        // Some file systems have one mode for everything; where it is the right one, there is nothing to change.
        return now.st_mode == before.st_mode || fchmod(mFile.get(), mode) == 0;
    }

    const UniqueFd& mFolder;
    std::string mTarget;
    std::string mName;
    UniqueFd mFile;
    bool mMustRemove = false;
};

bool replaceFile(const std::string& path, std::span<const std::byte> bytes)
{
    const auto folderPath = roamer::pathByDeletingLastComponent(path);
    const UniqueFd folder = openFolder(folderPath.empty() ? "." : folderPath);
    return folder.isOpen() && Replacement(folder, roamer::lastPathComponent(path)).replaceWith(bytes);
}

bool writeInPlace(const std::string& path, std::span<const std::byte> bytes)
{
    const UniqueFd file(open(path.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC | O_NONBLOCK, kNewFileMode));
    return file.isOpen() && writeAll(file, bytes) && fsync(file.get()) == 0;
}

bool isExistingFolder(const std::string& realPath)
{
    struct stat info {
    };
    return stat(realPath.c_str(), &info) == 0 && S_ISDIR(info.st_mode);
}

/// Whether the text is one harmless path component; users and domains end up in paths.
bool isFileName(const std::string& name)
{
    return !name.empty() && name != "." && name != ".." && name.find('/') == std::string::npos &&
           name.find('\0') == std::string::npos;
}

class FilePreferenceStore final : public PreferenceStore
{
public:
    explicit FilePreferenceStore(PropertyListCodec& codec) : mCodec(codec) {}

    std::optional<std::vector<std::byte>> readFile(const std::string& path) override
    {
        // A pipe in the place of a preference file must not hold the agent.
        return readRegularFile(UniqueFd(open(systemPath(path).c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK | O_NOCTTY)));
    }

    bool writeFile(const std::string& path, std::span<const std::byte> bytes, bool atomically) override
    {
        const auto target = writeTarget(systemPath(path));
        if (!target) return false;
        return atomically ? replaceFile(*target, bytes) : writeInPlace(*target, bytes);
    }

    std::optional<std::vector<std::byte>> readFileInHome(const std::string& home, const std::string& path) override
    {
        const UniqueFd folder = openHome(home);
        if (!folder.isOpen()) return std::nullopt;
        return readRegularFile(openBeneath(folder, path, O_RDONLY | O_NONBLOCK | O_NOCTTY));
    }

    bool writeFileInHome(const std::string& home, const std::string& path, std::span<const std::byte> bytes) override
    {
        const UniqueFd top = openHome(home);
        if (!top.isOpen()) return false;
        const UniqueFd folder = openBeneath(top, roamer::pathByDeletingLastComponent(path), O_PATH | O_DIRECTORY);
        if (!folder.isOpen()) return false;
        Replacement replacement(folder, roamer::lastPathComponent(path));
        replacement.giveToOwnerOfFolder();
        return replacement.replaceWith(bytes);
    }

    bool writeDomain(const roamer::Dictionary& dictionary, const std::string& folder,
                     const std::string& domain) override
    {
        if (!isFileName(domain)) return false;
        const std::string realFolder = systemPath(folder);
        if (!isExistingFolder(realFolder) && !makePreferencesFolder(folder)) return false;
        // Binary, because the text form cuts dates to whole seconds, and sync times are compared.
        const auto result = mCodec.serialise(dictionary, PropertyListCodec::Format::Binary);
        const auto* bytes = std::get_if<std::vector<std::byte>>(&result);
        return bytes != nullptr && writeFile(roamer::pathByAppending(folder, domain + ".plist"), *bytes, true);
    }

    bool writeManagedDomain(const roamer::Dictionary& dictionary, const std::string& user,
                            const std::string& domain) override
    {
        return isFileName(user) && writeDomain(dictionary, roamer::pathByAppending(kManagedFolder, user), domain);
    }

    bool createManagedFolder(const std::string& path) override
    {
        std::string realPath;
        for (const auto& component : roamer::pathComponents(systemPath(path))) {
            realPath = realPath.empty() ? component : roamer::pathByAppending(realPath, component);
            if (isExistingFolder(realPath)) continue;
            if (mkdir(realPath.c_str(), 0755) != 0 && errno != EEXIST) return false;
            // Beyond the process's mask and, where it may, whoever it acts as.
            static_cast<void>(chown(realPath.c_str(), 0, 0) == 0);
            static_cast<void>(chmod(realPath.c_str(), 0755) == 0);
        }
        return isExistingFolder(realPath);
    }

private:
    static bool makePreferencesFolder(const std::string& folder)
    {
        if (roamer::lastPathComponent(folder) != "Preferences") return false;
        return mkdir(systemPath(folder).c_str(), 0700) == 0;
    }

    PropertyListCodec& mCodec;
};

} // namespace

std::unique_ptr<PreferenceStore> makePreferenceStore(PropertyListCodec& codec)
{
    return std::make_unique<FilePreferenceStore>(codec);
}

} // namespace platform
