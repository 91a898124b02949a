#include "preference_store.h"

#include <array>
#include <cerrno>
#include <cstdio>
#include <fcntl.h>
#include <random>
#include <sys/stat.h>
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

/// A new file beside the one it will replace; removed again unless it was put in place.
class Replacement
{
public:
    explicit Replacement(std::string target) : mTarget(std::move(target))
    {
        mFolder = roamer::pathByDeletingLastComponent(mTarget);
        if (mFolder.empty()) mFolder = ".";
        std::random_device random;
        for (int attempt = 0; attempt < kTemporaryAttempts && !mFile.isOpen(); ++attempt) {
            mPath = mFolder + "/" + std::string(kTemporaryPrefix) + std::to_string(random());
            mFile = UniqueFd(open(mPath.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, kNewFileMode));
            if (!mFile.isOpen() && errno != EEXIST) break;
        }
        mMustRemove = mFile.isOpen();
    }
    ~Replacement()
    {
        if (mMustRemove) unlink(mPath.c_str());
    }
    Replacement(const Replacement&) = delete;
    Replacement& operator=(const Replacement&) = delete;

    /// The content is on disk before the name leads to it, and the name before this returns.
    bool replaceWith(std::span<const std::byte> bytes)
    {
        if (!mFile.isOpen() || !takeOverOwnerAndMode()) return false;
        if (!writeAll(mFile, bytes) || fsync(mFile.get()) != 0) return false;
        if (rename(mPath.c_str(), mTarget.c_str()) != 0) return false;
        mMustRemove = false;
        // The new file is in place whatever comes; some network file systems cannot sync a folder.
        const UniqueFd folder(open(mFolder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
        if (folder.isOpen()) static_cast<void>(fsync(folder.get()));
        return true;
    }

private:
    bool takeOverOwnerAndMode()
    {
        struct stat before {
        };
        if (stat(mTarget.c_str(), &before) != 0) return errno == ENOENT;
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

    std::string mTarget;
    std::string mFolder;
    std::string mPath;
    UniqueFd mFile;
    bool mMustRemove = false;
};

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
        const UniqueFd file(open(systemPath(path).c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK | O_NOCTTY));
        struct stat info {
        };
        if (!file.isOpen() || fstat(file.get(), &info) != 0 || !S_ISREG(info.st_mode)) return std::nullopt;
        return readAll(file);
    }

    bool writeFile(const std::string& path, std::span<const std::byte> bytes, bool atomically) override
    {
        const auto target = writeTarget(systemPath(path));
        if (!target) return false;
        return atomically ? Replacement(*target).replaceWith(bytes) : writeInPlace(*target, bytes);
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
