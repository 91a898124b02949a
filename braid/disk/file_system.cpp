#include "file_system.h"

#include <fcntl.h>
#include <linux/magic.h>
#include <sys/vfs.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <limits>
#include <optional>
#include <span>

#include "calls.h"
#include "seam.h"
#include "system.h"

namespace braid::disk
{

namespace
{

std::optional<struct statfs> factsOf(int descriptor)
{
    struct statfs facts {
    };
    if (system().fstatfs(descriptor, &facts) < 0) return std::nullopt;
    return facts;
}

bool isOneOf(std::span<const std::uint64_t> magics, int descriptor)
{
    const auto facts = factsOf(descriptor);
    return facts && std::ranges::find(magics, static_cast<std::uint64_t>(facts->f_type)) != magics.end();
}

} // namespace

bool syncsAsAWhole(int descriptor)
{
    constexpr auto kMagics = std::to_array<std::uint64_t>(
        {EXT4_SUPER_MAGIC, BTRFS_SUPER_MAGIC, XFS_SUPER_MAGIC, TMPFS_MAGIC, F2FS_SUPER_MAGIC, OVERLAYFS_SUPER_MAGIC});
    return isOneOf(kMagics, descriptor);
}

bool copiesOnServer(int descriptor)
{
    constexpr auto kMagics = std::to_array<std::uint64_t>({NFS_SUPER_MAGIC, CIFS_SUPER_MAGIC, SMB2_SUPER_MAGIC});
    return isOneOf(kMagics, descriptor);
}

bool numbersNames(int descriptor)
{
    constexpr auto kMagics = std::to_array<std::uint64_t>({FUSE_SUPER_MAGIC});
    return isOneOf(kMagics, descriptor);
}

bool holdsLinksApart(int descriptor)
{
    constexpr auto kMagics = std::to_array<std::uint64_t>({FUSE_SUPER_MAGIC});
    return !isOneOf(kMagics, descriptor);
}

std::uint64_t capacityOf(int descriptor)
{
    const auto facts = factsOf(descriptor);
    return facts ? static_cast<std::uint64_t>(facts->f_blocks) * static_cast<std::uint64_t>(facts->f_frsize) : 0;
}

std::uint64_t freeRoomOf(int descriptor)
{
    const auto facts = factsOf(descriptor);
    if (!facts || facts->f_blocks == 0) return std::numeric_limits<std::uint64_t>::max();
    return static_cast<std::uint64_t>(facts->f_bavail) * static_cast<std::uint64_t>(facts->f_frsize);
}

std::uint64_t roomOf(int folder, const char* name)
{
    if (seam::ask(seam::Operation::Stat, folder, name) != 0) return 0;
    struct statx raw {
    };
    return system().statx(folder, name, AT_SYMLINK_NOFOLLOW, &raw) == 0 ? raw.stx_blocks * 512 : 0;
}

int setRoomAside(int file, std::uint64_t bytes)
{
    if (int code = seam::ask(seam::Operation::Write, file, "")) return code;
    if (system().fallocate(file, FALLOC_FL_KEEP_SIZE, 0, static_cast<off_t>(bytes)) == 0) return 0;
    const int code = errno;
    if (!isFull(code)) return code;
    // What it got before there was no more stays with the file otherwise.
    if (const auto stat = statOf(file)) system().ftruncate(file, stat->size);
    return code;
}

} // namespace braid::disk
