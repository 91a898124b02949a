#include "sim_system.h"

#include <linux/magic.h>
#include <sys/sysmacros.h>

#include <algorithm>
#include <cerrno>
#include <cstring>

namespace braid::sim
{

namespace
{

constexpr int kFirstDescriptor = 30'000; // no number of the kernel's
constexpr std::int64_t kNanosecondsPerSecond = 1'000'000'000;
constexpr std::int64_t kEachCall = 1'000; // nanoseconds
constexpr std::size_t kBlock = 4096;
constexpr std::size_t kMaxName = 255;

/// The kernel's way to tell: -1 and errno.
template <class Result>
Result told(std::int64_t answer)
{
    if (answer >= 0) return static_cast<Result>(answer);
    errno = static_cast<int>(-answer);
    return -1;
}

/// Blocks of zeros take no room.
bool isHole(const std::string& data, std::size_t block)
{
    const std::size_t from = block * kBlock;
    return data.find_first_not_of('\0', from) >= std::min(from + kBlock, data.size());
}

/// Gives one text or list of names out as the kernel does: the size alone where there is no room to fill.
std::int64_t fill(const std::string& text, char* room, std::size_t size)
{
    if (size == 0) return static_cast<std::int64_t>(text.size());
    if (text.size() > size) return -ERANGE;
    std::memcpy(room, text.data(), text.size());
    return static_cast<std::int64_t>(text.size());
}

statx_timestamp timestamp(std::int64_t time)
{
    statx_timestamp stamp{};
    stamp.tv_sec = time / kNanosecondsPerSecond;
    stamp.tv_nsec = static_cast<std::uint32_t>(time % kNanosecondsPerSecond);
    return stamp;
}

} // namespace

SimSystem::SimSystem(std::uint64_t seed) : mRandom(seed)
{
    add("tmp", {}); // for whom "/tmp" stands
    mDisks["/tmp"] = std::move(mDisks["/sim/tmp"]);
    mDisks.erase("/sim/tmp");
    disk::gSystem = this;
    redirectSqlite(true);
}

SimSystem::~SimSystem()
{
    redirectSqlite(false);
    disk::gSystem = nullptr;
}

Disk& SimSystem::add(const std::string& name, const DiskTraits& traits)
{
    auto& disk = mDisks["/sim/" + name];
    disk = std::make_unique<Disk>(traits, mDisks.size());
    return *disk;
}

void SimSystem::start(Mishap mishap, Disk& server)
{
    mMishap = std::move(mishap);
    mServer = &server;
    mCalls = 0;
    mMishapCall.clear();
}

void SimSystem::restart()
{
    mMishap = {};
    if (mIsDead) {
        mOpen.clear();
        mLocks.clear();
        for (auto& [path, disk] : mDisks)
            disk->closeAll();
    }
    mIsDead = false;
    mLostDisk = nullptr;
}

void SimSystem::flushAll()
{
    for (auto& [path, disk] : mDisks)
        disk->flushAll();
}

/// 0, or the errno value that keeps the call from happening.
int SimSystem::enter(const char* what, const char* name, const Disk* disk)
{
    mClock += kEachCall;
    if (mPersons > 0) return 0;
    if (mIsDead) return EIO;
    if (++mCalls == mMishap.call) {
        mMishapCall = std::string{what} + " \"" + name + "\"";
        switch (mMishap.kind) {
        case Mishap::Kind::Killed:
            mIsDead = true;
            return EIO;
        case Mishap::Kind::PowerCut:
            mIsDead = true;
            for (auto& [path, each] : mDisks) {
                if (each.get() != mServer) each->cutPower(mRandom);
            }
            return EIO;
        case Mishap::Kind::ServerCut:
            mLostDisk = mServer;
            mServer->cutPower(mRandom);
            break;
        case Mishap::Kind::Fails:
            return mMishap.code;
        case Mishap::Kind::AnswerIsLost:
            mLosesAnswer = true;
            break;
        case Mishap::Kind::Meanwhile: {
            const Person person{*this};
            mMishap.meanwhile();
            break;
        }
        case Mishap::Kind::None:
            break;
        }
    }
    return disk && disk == mLostDisk ? ENOTCONN : 0;
}

bool SimSystem::isDenied(const Node& node, mode_t right) const
{
    return mPersons == 0 && !(node.item.mode & right);
}

template <class Work>
SimSystem::Answer SimSystem::call(const char* what, int descriptor, const char* name, Work work)
{
    const std::lock_guard lock{mMutex};
    const auto open = mOpen.find(descriptor);
    if (const int code = enter(what, name, open == mOpen.end() ? nullptr : open->second.disk)) return -code;
    if (descriptor != AT_FDCWD && !mOpen.contains(descriptor)) return -EBADF;
    const Answer answer = work();
    if (mLosesAnswer) {
        mLosesAnswer = false;
        return -mMishap.code;
    }
    return answer;
}

SimSystem::Answer SimSystem::hold(Place place)
{
    int number = kFirstDescriptor;
    while (mOpen.contains(number))
        ++number;
    mOpen[number] = {place, 0};
    ++place.disk->node(place.inode).opens;
    return number;
}

SimSystem::Answer SimSystem::find(const Open& folder, const char* name, Place& place)
{
    const Node& node = folder.disk->node(folder.inode);
    if (!S_ISDIR(node.item.mode)) return -ENOTDIR;
    place = folder;
    if (std::strcmp(name, ".") == 0 || std::strcmp(name, "") == 0) return 0;
    if (std::strcmp(name, "..") == 0) return 0; // only asked of a disk's top
    if (isDenied(node, S_IXUSR)) return -EACCES;
    if (std::strlen(name) > kMaxName) return -ENAMETOOLONG;
    const std::uint64_t* inode = folder.disk->find(folder.inode, name);
    if (!inode) return -ENOENT;
    place.inode = *inode;
    return 0;
}

SimSystem::Answer SimSystem::walk(Place& place, const std::string& path, bool checksDots)
{
    std::size_t at = 0;
    while (at < path.size()) {
        const std::size_t end = std::min(path.find('/', at), path.size());
        const std::string name = path.substr(at, end - at);
        at = end + 1;
        if (name.empty()) continue;
        if (checksDots && name == "..") return -EXDEV;
        if (S_ISLNK(place.disk->node(place.inode).item.mode)) return -ELOOP;
        Place next;
        if (const Answer answer = find({place, 0}, name.c_str(), next); answer < 0) return answer;
        place = next;
    }
    return 0;
}

int SimSystem::open(const char* path, int flags)
{
    return told<int>(call("open", AT_FDCWD, path, [&]() -> Answer {
        const std::string wanted{path};
        for (const auto& [top, disk] : mDisks) {
            if (wanted != top && !wanted.starts_with(top + "/")) continue;
            if (disk.get() == mLostDisk) return -ENOTCONN;
            Place place{disk.get(), Disk::kTop};
            if (const Answer answer = walk(place, wanted.substr(top.size()), false); answer < 0) return answer;
            if ((flags & O_DIRECTORY) && !S_ISDIR(disk->node(place.inode).item.mode)) return -ENOTDIR;
            return hold(place);
        }
        return -ENOENT;
    }));
}

int SimSystem::openBeneath(int folder, const char* path, int flags)
{
    return told<int>(call("openBeneath", folder, path, [&]() -> Answer {
        Place place = at(folder);
        if (const Answer answer = walk(place, path, true); answer < 0) return answer;
        const mode_t mode = place.disk->node(place.inode).item.mode;
        if (S_ISLNK(mode)) return -ELOOP;
        if ((flags & O_DIRECTORY) && !S_ISDIR(mode)) return -ENOTDIR;
        if (!(flags & O_PATH) && isDenied(place.disk->node(place.inode), S_IRUSR)) return -EACCES;
        return hold(place);
    }));
}

int SimSystem::openat(int folder, const char* name, int flags, mode_t mode)
{
    return told<int>(call("openat", folder, name, [&]() -> Answer {
        Place place;
        const Answer found = find(at(folder), name, place);
        if (found == -ENOENT && (flags & O_CREAT)) {
            if (const Answer made = makeEntry(folder, name, S_IFREG | mode, ""); made < 0) return made;
            find(at(folder), name, place);
        } else if (found < 0) {
            return found;
        } else if (flags & O_EXCL) {
            return -EEXIST;
        }
        const Node& node = place.disk->node(place.inode);
        const mode_t present = node.item.mode;
        if (S_ISLNK(present) && !(flags & O_PATH)) return -ELOOP;
        if ((flags & O_DIRECTORY) && !S_ISDIR(present)) return -ENOTDIR;
        if (!(flags & O_PATH) && found == 0) {
            const bool writes = (flags & O_ACCMODE) != O_RDONLY;
            if (isDenied(node, S_IRUSR) || (writes && isDenied(node, S_IWUSR))) return -EACCES;
        }
        if (flags & O_TRUNC) place.disk->truncate(place.inode, 0, mClock);
        return hold(place);
    }));
}

int SimSystem::close(int descriptor)
{
    const std::lock_guard lock{mMutex};
    const auto open = mOpen.find(descriptor);
    if (open == mOpen.end()) return disk::kernel().close(descriptor);
    std::erase_if(mLocks, [&](const auto& held) { return held.second == descriptor; });
    open->second.disk->closed(open->second.inode);
    mOpen.erase(open);
    return 0;
}

int SimSystem::statx(int folder, const char* name, int flags, struct statx* facts)
{
    int held = folder;
    if (folder == AT_FDCWD) held = open(name, O_PATH);
    if (held < 0) return -1;
    const bool itself = folder == AT_FDCWD || (flags & AT_EMPTY_PATH);
    const int result = told<int>(call("statx", held, name, [&]() -> Answer {
        Place place = at(held);
        if (!itself) {
            if (const Answer answer = find(at(held), name, place); answer < 0) return answer;
        }
        const Node& node = place.disk->node(place.inode);
        *facts = {};
        facts->stx_mode = static_cast<std::uint16_t>(node.item.mode);
        facts->stx_uid = node.item.owner;
        facts->stx_gid = node.item.group;
        facts->stx_nlink = static_cast<std::uint32_t>(node.links);
        facts->stx_ino = place.inode;
        facts->stx_dev_minor = static_cast<std::uint32_t>(place.disk->device());
        facts->stx_size = node.data.size();
        for (std::size_t block = 0; block * kBlock < node.data.size(); ++block) {
            if (!isHole(node.data, block)) facts->stx_blocks += kBlock / 512;
        }
        facts->stx_mtime = timestamp(node.item.mtime);
        facts->stx_ctime = timestamp(node.item.ctime);
        return 0;
    }));
    if (folder == AT_FDCWD) {
        const int code = errno;
        close(held);
        errno = code;
    }
    return result;
}

int SimSystem::fstatfs(int descriptor, struct statfs* facts)
{
    return told<int>(call("fstatfs", descriptor, "", [&]() -> Answer {
        *facts = {};
        const DiskTraits& traits = at(descriptor).disk->traits();
        facts->f_type = traits.flushesAsAWhole ? EXT4_SUPER_MAGIC : NFS_SUPER_MAGIC;
        facts->f_frsize = facts->f_bsize = kBlock;
        facts->f_blocks = traits.capacity / kBlock;
        return 0;
    }));
}

int SimSystem::mayWrite(int folder)
{
    return told<int>(call("faccessat", folder, "", [&]() -> Answer {
        return isDenied(at(folder).disk->node(at(folder).inode), S_IWUSR) ? -EACCES : 0;
    }));
}

int SimSystem::listNames(int folder, std::vector<std::string>& names)
{
    return told<int>(call("getdents", folder, "", [&]() -> Answer {
        for (const auto& [name, inode] : at(folder).disk->node(at(folder).inode).entries)
            names.push_back(name);
        return 0;
    }));
}

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
        if (!open.disk->hasRoomFor(length)) return -ENOSPC;
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

int SimSystem::ftruncate(int file, off_t size)
{
    return told<int>(call("ftruncate", file, "", [&]() -> Answer {
        at(file).disk->truncate(at(file).inode, static_cast<std::size_t>(size), mClock);
        return 0;
    }));
}

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
    if (there && *there != moved.inode) {
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

template <class Edit>
int SimSystem::edit(const char* what, int folder, const char* name, Edit edit)
{
    return told<int>(call(what, folder, name, [&]() -> Answer {
        Place place = at(folder);
        if (*name) {
            if (const Answer answer = find(at(folder), name, place); answer < 0) return answer;
        }
        if (const Answer answer = edit(*place.disk, place.disk->change(place.inode)); answer < 0) return answer;
        place.disk->node(place.inode).item.ctime = place.disk->stamp(mClock);
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

int SimSystem::syncfs(int descriptor)
{
    return told<int>(call("syncfs", descriptor, "", [&]() -> Answer {
        at(descriptor).disk->flushAll();
        return 0;
    }));
}

int SimSystem::fsync(int descriptor)
{
    return told<int>(call("fsync", descriptor, "", [&]() -> Answer {
        at(descriptor).disk->flush(at(descriptor).inode);
        return 0;
    }));
}

int SimSystem::lock(int file, int command, struct flock* range)
{
    return told<int>(call("fcntl", file, "", [&]() -> Answer {
        const std::pair key{at(file).disk, at(file).inode};
        const auto held = mLocks.find(key);
        const bool isFree = held == mLocks.end() || held->second == file;
        if (command == F_OFD_GETLK) {
            if (isFree) range->l_type = F_UNLCK;
            return 0;
        }
        if (!isFree) return -EAGAIN;
        mLocks[key] = file;
        return 0;
    }));
}

void SimSystem::randomBytes(void* bytes, std::size_t length)
{
    const std::lock_guard lock{mMutex};
    for (std::size_t i = 0; i < length; ++i)
        static_cast<unsigned char*>(bytes)[i] = static_cast<unsigned char>(mRandom());
}

} // namespace braid::sim
