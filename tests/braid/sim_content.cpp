#include <sys/stat.h>

#include "sim_calls.h"

/// The calls that read and change what an item holds.
namespace braid::sim
{

ssize_t SimSystem::read(int file, void* bytes, std::size_t length)
{
    return told<ssize_t>(call("read", file, "", [&]() -> Answer {
        Open& open = at(file);
        const std::string& data = open.disk->node(open.inode).data;
        const std::size_t got = std::min(length, data.size() - std::min<std::size_t>(open.offset, data.size()));
        std::memcpy(bytes, data.data() + open.offset, got);
        open.offset += got;
        return static_cast<Answer>(got);
    }));
}

ssize_t SimSystem::write(int file, const void* bytes, std::size_t length)
{
    return told<ssize_t>(call("write", file, "", [&]() -> Answer {
        Open& open = at(file);
        const std::uint64_t there = std::max<std::uint64_t>(open.disk->node(open.inode).setAside, open.offset);
        const std::uint64_t end = open.offset + length;
        if (end > there && !open.disk->hasRoomFor(end - there)) return -ENOSPC;
        open.disk->write(open.inode, open.offset, {static_cast<const char*>(bytes), length}, mClock);
        open.offset += length;
        return static_cast<Answer>(length);
    }));
}

off_t SimSystem::lseek(int file, off_t offset, int whence)
{
    return told<off_t>(call("lseek", file, "", [&]() -> Answer {
        Open& open = at(file);
        const std::string& data = open.disk->node(open.inode).data;
        auto wanted = static_cast<std::size_t>(offset);
        if (whence == SEEK_DATA || whence == SEEK_HOLE) {
            if (wanted >= data.size()) return -ENXIO;
            while (wanted < data.size() && isHole(data, wanted / kBlock) == (whence == SEEK_DATA))
                wanted = (wanted / kBlock + 1) * kBlock;
            if (wanted >= data.size() && whence == SEEK_DATA) return -ENXIO;
            wanted = std::min(wanted, data.size());
        }
        open.offset = wanted;
        return static_cast<Answer>(wanted);
    }));
}

ssize_t SimSystem::copy_file_range(int source, off_t* from, int target, off_t* to, std::size_t length)
{
    return told<ssize_t>(call("copy_file_range", target, "", [&]() -> Answer {
        const Open& here = at(source);
        const Open& there = at(target);
        if (!there.disk->traits().copiesRanges) return -EXDEV;
        const std::string part = here.disk->node(here.inode).data.substr(static_cast<std::size_t>(*from), length);
        if (!there.disk->hasRoomFor(part.size())) return -ENOSPC;
        there.disk->write(there.inode, static_cast<std::size_t>(*to), part, mClock);
        *from += static_cast<off_t>(part.size());
        *to += static_cast<off_t>(part.size());
        return static_cast<Answer>(part.size());
    }));
}

int SimSystem::clone(int target, int source)
{
    return told<int>(call("clone", target, "", [&]() -> Answer {
        const Open& here = at(source);
        const Open& there = at(target);
        if (here.disk != there.disk || !there.disk->traits().copiesRanges) return -EOPNOTSUPP;
        there.disk->truncate(there.inode, 0, mClock);
        there.disk->write(there.inode, 0, std::string{here.disk->node(here.inode).data}, mClock);
        return 0;
    }));
}

int SimSystem::fallocate(int file, int mode, off_t offset, off_t length)
{
    return told<int>(call("fallocate", file, "", [&]() -> Answer {
        const Open& open = at(file);
        if (!open.disk->traits().copiesRanges || mode != FALLOC_FL_KEEP_SIZE || offset != 0) return -EOPNOTSUPP;
        Node& node = open.disk->node(open.inode);
        const std::uint64_t there = std::max<std::uint64_t>(node.setAside, node.data.size());
        const auto wanted = static_cast<std::uint64_t>(length);
        const std::uint64_t room = open.disk->freeRoom();
        node.setAside = std::max(there, std::min(wanted, there + room)); // what it gets before it fails stays
        return node.setAside < wanted ? -ENOSPC : 0;
    }));
}

int SimSystem::ftruncate(int file, off_t size)
{
    return told<int>(call("ftruncate", file, "", [&]() -> Answer {
        at(file).disk->truncate(at(file).inode, static_cast<std::size_t>(size), mClock);
        return 0;
    }));
}

int SimSystem::fchmod(int item, mode_t mode)
{
    return edit("fchmod", item, "", [&](const Disk& disk, Item& changed) {
        if (!disk.traits().keepsModes) return -EPERM;
        changed.mode = (changed.mode & S_IFMT) | mode;
        return 0;
    });
}

ssize_t SimSystem::flistxattr(int item, char* names, std::size_t size)
{
    return told<ssize_t>(call("flistxattr", item, "", [&]() -> Answer {
        if (!at(item).disk->traits().keepsAttributes) return -ENOTSUP;
        std::string all;
        for (const auto& [name, value] : at(item).disk->node(at(item).inode).item.attributes)
            all += name + '\0';
        return fill(all, names, size);
    }));
}

ssize_t SimSystem::fgetxattr(int item, const char* name, void* value, std::size_t size)
{
    return told<ssize_t>(call("fgetxattr", item, name, [&]() -> Answer {
        const auto& attributes = at(item).disk->node(at(item).inode).item.attributes;
        const auto found = attributes.find(name);
        return found == attributes.end() ? -ENODATA : fill(found->second, static_cast<char*>(value), size);
    }));
}

int SimSystem::fsetxattr(int item, const char* name, const void* value, std::size_t size)
{
    return edit("fsetxattr", item, "", [&](const Disk& disk, Item& changed) {
        if (!disk.traits().keepsAttributes) return -ENOTSUP;
        if (disk.traits().isInUserSpace && std::string_view{name}.starts_with("system.")) return 0;
        changed.attributes[name].assign(static_cast<const char*>(value), size);
        return 0;
    });
}

int SimSystem::fremovexattr(int item, const char* name)
{
    return edit("fremovexattr", item, "", [&](const Disk& disk, Item& changed) {
        changed.attributes.erase(name);
        return disk.traits().keepsAttributes ? 0 : -ENOTSUP;
    });
}

int SimSystem::utimensat(int folder, const char* name, const std::array<timespec, 2>& times)
{
    return edit("utimensat", folder, name ? name : "", [&](const Disk& disk, Item& changed) {
        if (disk.traits().isInUserSpace && S_ISLNK(changed.mode)) return -ENOENT;
        const timespec& time = times[1];
        changed.mtime = disk.stamp(mClock);
        if (time.tv_nsec == UTIME_NOW) return 0;
        changed.mtime = time.tv_sec * kNanosecondsPerSecond + time.tv_nsec;
        changed.mtime -= changed.mtime % disk.traits().timeStep;
        return 0;
    });
}

int SimSystem::fchownat(int folder, const char* name, uid_t owner, gid_t group)
{
    return edit("fchownat", folder, name, [&](const Disk&, Item& changed) {
        changed.owner = owner;
        changed.group = group;
        return 0;
    });
}

} // namespace braid::sim
