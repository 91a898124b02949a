#include "mount_table.h"

#include <algorithm>
#include <array>
#include <climits>
#include <deque>
#include <fstream>
#include <sstream>
#include <string_view>
#include <sys/stat.h>
#include <unistd.h>

#include "util/path_text.h"

namespace platform
{

namespace
{

constexpr const char* kMountList = "/proc/self/mountinfo";
constexpr int kMostLinks = 40; // as many as the kernel follows

/// On this computer's own disks or in its memory. Whatever is not listed may be slow.
constexpr auto kNearTypes = std::to_array<std::string_view>({
    "bcachefs", "binfmt_misc", "bpf",       "btrfs",   "cgroup",   "cgroup2", "configfs",   "debugfs",   "devpts",
    "devtmpfs", "ecryptfs",    "efivarfs",  "erofs",   "exfat",    "ext2",    "ext3",       "ext4",      "f2fs",
    "fusectl",  "hostfs",      "hugetlbfs", "iso9660", "jfs",      "mqueue",  "nilfs2",     "nsfs",      "ntfs3",
    "overlay",  "proc",        "pstore",    "ramfs",   "reiserfs", "rootfs",  "securityfs", "selinuxfs", "squashfs",
    "sysfs",    "tmpfs",       "tracefs",   "udf",     "vfat",     "xfs",     "zfs",
});
static_assert(std::is_sorted(kNearTypes.begin(), kNearTypes.end()));

/// Blanks and other troublesome characters are written as a backslash and three octal digits.
std::string unescaped(std::string_view text)
{
    std::string result;
    for (std::size_t at = 0; at < text.size(); ++at) {
        if (text[at] == '\\' && at + 3 < text.size()) {
            result += static_cast<char>((text[at + 1] - '0') * 64 + (text[at + 2] - '0') * 8 + (text[at + 3] - '0'));
            at += 3;
        } else {
            result += text[at];
        }
    }
    return result;
}

std::optional<std::string> linkTarget(const std::string& path)
{
    struct stat info {
    };
    if (lstat(path.c_str(), &info) != 0 || !S_ISLNK(info.st_mode)) return std::nullopt;
    std::array<char, PATH_MAX> target{};
    const ssize_t size = readlink(path.c_str(), target.data(), target.size());
    return size > 0 ? std::optional(std::string(target.data(), static_cast<std::size_t>(size))) : std::nullopt;
}

} // namespace

MountTable MountTable::read()
{
    std::vector<Mount> mounts;
    std::ifstream list(kMountList);
    for (std::string line; std::getline(list, line);) {
        // id, parent, device, root, mount point, options, optional fields, "-", type, source, options
        std::istringstream fields(line);
        std::string field, point, type;
        for (int i = 0; i < 5; ++i)
            fields >> point;
        while (fields >> field && field != "-") {}
        if (fields >> type) mounts.push_back({unescaped(point), type});
    }
    return MountTable(std::move(mounts));
}

bool MountTable::isFar(const std::string& folder) const
{
    return std::any_of(mMounts.begin(), mMounts.end(), [&folder](const Mount& mount) {
        return mount.point == folder && !std::binary_search(kNearTypes.begin(), kNearTypes.end(), mount.type);
    });
}

std::optional<std::string> MountTable::farMountOf(const std::string& path) const
{
    if (!path.starts_with('/')) return std::nullopt;
    const auto names = roamer::pathComponents(path);
    std::deque<std::string> ahead(names.begin(), names.end());
    std::string reached = "/"; // free of links, and near
    int links = 0;
    while (!ahead.empty()) {
        const std::string name = std::move(ahead.front());
        ahead.pop_front();
        if (name == ".") continue;
        if (name == "..") {
            reached = roamer::pathByDeletingLastComponent(reached);
            continue;
        }
        const std::string next = name == "/" ? name : roamer::pathByAppending(reached, name);
        if (isFar(next)) return next;
        const auto target = linkTarget(next);
        if (!target) {
            reached = next;
            continue;
        }
        if (++links > kMostLinks) return std::nullopt; // leads nowhere, here as for everybody
        const auto further = roamer::pathComponents(*target);
        ahead.insert(ahead.begin(), further.begin(), further.end());
    }
    return std::nullopt;
}

} // namespace platform
