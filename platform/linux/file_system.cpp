#include "file_system.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdint>
#include <dirent.h>
#include <fcntl.h>
#include <string_view>
#include <sys/stat.h>
#include <sys/sysmacros.h>

#include "platform/system_root.h"
#include "util/path_text.h"

namespace platform
{

namespace
{

/// Folders with these extensions hold one document or program that people handle as a whole.
constexpr std::array<std::string_view, 4> kPackageExtensions = {"app", "bundle", "plugin", "pkg"};

/// "" for a name without one; the dot of a hidden file starts none.
std::string_view extensionOf(std::string_view name)
{
    const auto dot = name.rfind('.');
    return dot == std::string_view::npos || dot == 0 ? std::string_view{} : name.substr(dot + 1);
}

bool statPath(const std::string& path, struct stat& info)
{
    return stat(systemPath(path).c_str(), &info) == 0;
}

/// A folder while it is read.
class OpenFolder
{
public:
    explicit OpenFolder(const std::string& path) : mFolder(opendir(systemPath(path).c_str())) {}
    ~OpenFolder()
    {
        if (mFolder != nullptr) closedir(mFolder);
    }
    OpenFolder(const OpenFolder&) = delete;
    OpenFolder& operator=(const OpenFolder&) = delete;

    bool isOpen() const { return mFolder != nullptr; }
    /// Null at the end and on an error; then errno is 0 or the reason.
    const dirent* next()
    {
        errno = 0;
        return readdir(mFolder);
    }

private:
    DIR* mFolder;
};

/// What a folder is on: the device, and the mount, which tells apart what is bound in from the same device.
struct Place {
    dev_t device = 0;
    std::uint64_t mount = 0;
    bool operator==(const Place&) const = default;
};

std::optional<Place> placeOf(const std::string& folder)
{
    struct statx info {
    };
    if (statx(AT_FDCWD, systemPath(folder).c_str(), 0, STATX_MNT_ID, &info) != 0) return std::nullopt;
    return Place{makedev(info.stx_dev_major, info.stx_dev_minor), info.stx_mnt_id};
}

/// Whether the path is below a folder of mount points, and no mount lies between the two.
bool wouldFakeAShare(const std::string& path)
{
    for (const std::string mountPoints : {"/Volumes", "/Network"}) {
        if (!path.starts_with(mountPoints + "/")) continue;
        const auto parent = placeOf(roamer::pathByDeletingLastComponent(path));
        return !parent || parent == placeOf(mountPoints);
    }
    return false;
}

class LinuxFileSystem final : public FileSystem
{
public:
    bool exists(const std::string& path) override
    {
        struct stat info {
        };
        return statPath(path, info);
    }

    bool isDirectory(const std::string& path) override
    {
        struct stat info {
        };
        return statPath(path, info) && S_ISDIR(info.st_mode);
    }

    std::optional<std::vector<std::string>> contentsOfDirectory(const std::string& path) override
    {
        OpenFolder folder(path);
        if (!folder.isOpen()) return std::nullopt;
        std::vector<std::string> names;
        while (const auto* entry = folder.next()) {
            const std::string_view name = entry->d_name;
            if (name != "." && name != "..") names.emplace_back(name);
        }
        // A share that goes away while it is listed must not look like a shorter folder.
        if (errno != 0) return std::nullopt;
        return names;
    }

    bool directoryIsReadable(const std::string& path) override
    {
        OpenFolder folder(path);
        return folder.isOpen() && folder.next() != nullptr;
    }

    bool createDirectory(const std::string& path) override
    {
        return !wouldFakeAShare(path) && mkdir(systemPath(path).c_str(), 0777) == 0;
    }

    bool reach(const std::string& path) override
    {
        struct statx info {
        };
        static_cast<void>(statx(AT_FDCWD, systemPath(path).c_str(), AT_STATX_FORCE_SYNC, STATX_MTIME, &info));
        return true;
    }

    std::string displayName(const std::string& path) override
    {
        return roamer::lastPathComponent(path); // file managers here show names as they are
    }

    bool isPackage(const std::string& path) override
    {
        const std::string name = roamer::lastPathComponent(path);
        const auto* end = kPackageExtensions.end();
        return std::find(kPackageExtensions.begin(), end, extensionOf(name)) != end && isDirectory(path);
    }
};

} // namespace

std::unique_ptr<FileSystem> makeFileSystem()
{
    return std::make_unique<LinuxFileSystem>();
}

} // namespace platform
