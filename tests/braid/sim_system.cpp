#include "sim_system.h"

#include <linux/magic.h>
#include <sys/sysmacros.h>

#include "sim_calls.h"

namespace braid::sim
{

namespace
{

constexpr int kFirstDescriptor = 30'000;  // no number of the kernel's
constexpr std::int64_t kEachCall = 1'000; // nanoseconds

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
        facts->stx_blocks = std::max<std::uint64_t>(facts->stx_blocks, node.setAside / 512);
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
        if (traits.isInUserSpace) facts->f_type = FUSE_SUPER_MAGIC;
        facts->f_frsize = facts->f_bsize = kBlock;
        facts->f_blocks = traits.capacity / kBlock;
        facts->f_bavail = (traits.tellsRoom ? at(descriptor).disk->freeRoom() : traits.capacity) / kBlock;
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
