#include <sys/stat.h>

#include "sim_calls.h"

/// The calls that change what names there are.
namespace braid::sim
{

SimSystem::Answer SimSystem::mayChange(const Open& folder, const char* name)
{
    const Node& node = folder.disk->node(folder.inode);
    if (!S_ISDIR(node.item.mode)) return -ENOTDIR;
    if (node.links == 0) return -ENOENT;
    if (std::strlen(name) > kMaxName) return -ENAMETOOLONG;
    return isDenied(node, S_IWUSR) || isDenied(node, S_IXUSR) ? -EACCES : 0;
}

SimSystem::Answer SimSystem::makeEntry(int folder, const char* name, mode_t mode, const std::string& data)
{
    const Open& parent = at(folder);
    if (const Answer answer = mayChange(parent, name); answer < 0) return answer;
    if (parent.disk->find(parent.inode, name)) return -EEXIST;
    if (!parent.disk->hasRoomFor(kBlock)) return -ENOSPC;
    const std::uint64_t inode = parent.disk->make(mode, mClock);
    parent.disk->node(inode).data = data;
    parent.disk->setEntry(parent.inode, name, inode, mClock);
    return 0;
}

int SimSystem::mkdirat(int folder, const char* name, mode_t mode)
{
    return told<int>(call("mkdirat", folder, name, [&] { return makeEntry(folder, name, S_IFDIR | mode, ""); }));
}

int SimSystem::symlinkat(const char* target, int folder, const char* name)
{
    return told<int>(call("symlinkat", folder, name, [&] { return makeEntry(folder, name, S_IFLNK | 0777, target); }));
}

ssize_t SimSystem::readlinkat(int folder, const char* name, char* target, std::size_t size)
{
    return told<ssize_t>(call("readlinkat", folder, name, [&]() -> Answer {
        Place place;
        if (const Answer answer = find(at(folder), name, place); answer < 0) return answer;
        const Node& node = place.disk->node(place.inode);
        return S_ISLNK(node.item.mode) ? fill(node.data, target, size) : -EINVAL;
    }));
}

int SimSystem::linkat(int folder, const char* name, int newFolder, const char* newName)
{
    return told<int>(call("linkat", folder, name, [&]() -> Answer {
        Place place;
        if (const Answer answer = find(at(folder), name, place); answer < 0) return answer;
        const Open& target = at(newFolder);
        if (!target.disk->traits().hardLinks) return -EPERM;
        if (const Answer answer = mayChange(target, newName); answer < 0) return answer;
        if (target.disk->find(target.inode, newName)) return -EEXIST;
        if (S_ISDIR(place.disk->node(place.inode).item.mode)) return -EPERM;
        target.disk->setEntry(target.inode, newName, place.inode, mClock);
        return 0;
    }));
}

int SimSystem::createUnnamed(int folder, mode_t mode)
{
    return told<int>(call("openat", folder, "(unnamed)", [&]() -> Answer {
        const Open& parent = at(folder);
        if (!parent.disk->traits().hardLinks) return -EOPNOTSUPP;
        if (const Answer answer = mayChange(parent, ""); answer < 0) return answer;
        if (!parent.disk->hasRoomFor(kBlock)) return -ENOSPC;
        return hold({parent.disk, parent.disk->make(S_IFREG | mode, mClock)});
    }));
}

int SimSystem::linkUnnamed(int file, int newFolder, const char* newName)
{
    return told<int>(call("linkat", newFolder, newName, [&]() -> Answer {
        const Open& target = at(newFolder);
        if (const Answer answer = mayChange(target, newName); answer < 0) return answer;
        if (target.disk->find(target.inode, newName)) return -EEXIST;
        target.disk->setEntry(target.inode, newName, at(file).inode, mClock);
        return 0;
    }));
}

int SimSystem::unlinkat(int folder, const char* name, int flags)
{
    return told<int>(call("unlinkat", folder, name, [&]() -> Answer {
        const Open& parent = at(folder);
        if (const Answer answer = mayChange(parent, name); answer < 0) return answer;
        Place place;
        if (const Answer answer = find(parent, name, place); answer < 0) return answer;
        const Node& node = place.disk->node(place.inode);
        if (S_ISDIR(node.item.mode) != ((flags & AT_REMOVEDIR) != 0)) return flags & AT_REMOVEDIR ? -ENOTDIR : -EISDIR;
        if (!node.entries.empty()) return -ENOTEMPTY;
        parent.disk->removeEntry(parent.inode, name, mClock);
        return 0;
    }));
}

SimSystem::Answer SimSystem::rename(const Open& from, const char* name, const Open& to, const char* newName,
                                    unsigned flags)
{
    if (from.disk != to.disk) return -EXDEV;
    Disk& disk = *from.disk;
    if ((flags & RENAME_EXCHANGE) && !disk.traits().exchanges) return -EINVAL;
    if ((flags & RENAME_NOREPLACE) && !disk.traits().renamesNew) return -EINVAL;
    for (const auto& [folder, each] : {std::pair{&from, name}, std::pair{&to, newName}}) {
        if (const Answer answer = mayChange(*folder, each); answer < 0) return answer;
    }
    Place moved;
    if (const Answer answer = find(from, name, moved); answer < 0) return answer;
    const std::uint64_t* there = disk.find(to.inode, newName);
    if (there && (flags & RENAME_NOREPLACE)) return -EEXIST;
    if (!there && (flags & RENAME_EXCHANGE)) return -ENOENT;
    if (S_ISDIR(disk.node(moved.inode).item.mode)) {
        // Not into itself.
        std::vector<std::uint64_t> below{moved.inode};
        for (std::size_t i = 0; i < below.size(); ++i) {
            if (below[i] == to.inode) return -EINVAL;
            for (const auto& [each, inode] : disk.node(below[i]).entries)
                below.push_back(inode);
        }
    }
    if (flags & RENAME_EXCHANGE) {
        const std::uint64_t other = *there;
        return disk.together([&] {
            disk.setEntry(to.inode, newName, moved.inode, mClock);
            disk.setEntry(from.inode, name, other, mClock);
        });
    }
    if (there && *there == moved.inode) {
        // Two names of one item, or one name in two spellings.
        const bool isOneName = from.inode == to.inode && disk.folds() && disk.node(moved.inode).links == 1;
        if (!isOneName || !disk.traits().respells) return 0;
    } else if (there) {
        const Node& replaced = disk.node(*there);
        const bool isFolder = S_ISDIR(disk.node(moved.inode).item.mode);
        if (S_ISDIR(replaced.item.mode) != isFolder) return isFolder ? -ENOTDIR : -EISDIR;
        if (!replaced.entries.empty()) return -ENOTEMPTY;
    }
    return disk.together([&] {
        disk.removeEntry(from.inode, name, mClock);
        disk.setEntry(to.inode, newName, moved.inode, mClock);
    });
}

int SimSystem::renameat2(int folder, const char* name, int newFolder, const char* newName, unsigned flags)
{
    return told<int>(call("renameat2", folder, newName, [&]() -> Answer {
        if (!mOpen.contains(newFolder)) return -EBADF;
        return rename(at(folder), name, at(newFolder), newName, flags);
    }));
}

} // namespace braid::sim
