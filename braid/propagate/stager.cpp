#include "stager.h"

#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <mutex>

#include "braid/disk/calls.h"
#include "braid/disk/content.h"
#include "braid/disk/extended.h"
#include "braid/disk/file_system.h"
#include "braid/disk/journals.h"
#include "braid/disk/listing.h"
#include "braid/reconcile/judge.h"

namespace braid
{

namespace
{

constexpr int kMaxAttempts = 3;
constexpr std::int64_t kQuiet = 50'000'000; // more than the coarsest step of a kernel's clock

/// Two files that get their inodes at once, out of the same block of them, make ext4 read that block from the disk,
/// which takes longer than waiting for each other; a file alone in a block needs none of what lies there.
std::mutex creating;

} // namespace

Outcome<Staged> Stager::stage(const Action& action, bool mayStayOpen)
{
    const Peer source = otherPeer(action.target);
    const auto folder = mFolders[source].in(*mBench.homes[source], folderOf(action.path));
    if (!folder) return folder.problem();
    const std::string name{nameOf(action.path)};
    Stat stat = action.stats[source];
    for (int attempt = 0; attempt < kMaxAttempts; ++attempt) {
        auto staged =
            stat.kind == Kind::Link ? stageLink(action, *folder, stat) : stageFile(action, *folder, stat, mayStayOpen);
        if (staged || staged.problem().code != EAGAIN) return staged;
        // Somebody is writing it. What the decision rests on still holds as long as it stays what it is.
        const auto now = journals::lookAgain(*folder, name.c_str(), stat);
        if (!now) return now.problem();
        if (now->kind != stat.kind) break;
        stat = *now;
    }
    const bool isInUse = stat.journals != Journals::None;
    return Problem{isInUse ? EBUSY : EAGAIN, "copy it", action.path};
}

Outcome<Descriptor> Stager::createCopy(const Action& action, std::uint16_t mode, bool mayStayOpen, Staged& staged)
{
    const Home& home = *mBench.homes[action.target];
    bool& namesAll = mNamesAll[action.target];
    // What a file server makes of such a file when the connection breaks is its own affair.
    if (mayStayOpen && !action.stats[action.target].exists() && !home.flushesEachFile() && !namesAll) {
        const std::lock_guard lock{creating};
        auto copy = disk::createUnnamed(home.staging(), mode);
        if (copy) return copy;
        namesAll = true;
    }
    staged.name = newName();
    return disk::createFile(home.staging(), staged.name.c_str(), mode);
}

Outcome<Staged> Stager::stageFile(const Action& action, int sourceFolder, const Stat& source, bool mayStayOpen)
{
    const std::string sourceName{nameOf(action.path)};
    const auto file = disk::openFile(sourceFolder, sourceName.c_str());
    if (!file) return file.problem();
    const auto look = [&] {
        return source.journals == Journals::None ? disk::statOf(file->number())
                                                 : journals::lookJoined(sourceFolder, sourceName.c_str());
    };
    if (source.size > kBlockBytes) { // no more than this is read for nothing: the look afterwards tells
        const auto before = look();
        if (!before) return before.problem();
        if (!isUnchanged(*before, source)) return Problem{EAGAIN, "copy it", action.path};
    }

    Home& home = *mBench.homes[action.target];
    Staged staged;
    staged.action = &action;
    std::optional<ContentDigest> seen;
    if (action.known) {
        auto digest = digestOpen(*file, source, mBench.stop);
        if (!digest) return digest.problem();
        seen = std::move(*digest);
        if (seen->whole == action.known->whole) return unchangedContent(std::move(staged), *file, source);
    }
    // With its mode from the start it mostly needs no call that sets it.
    constexpr std::uint16_t kPermissions = 0777;
    auto copy = createCopy(action, source.mode & kPermissions, mayStayOpen, staged);
    if (!copy) return copy.problem();
    const auto fail = [&](const Problem& problem) {
        discard(staged);
        if (mBench.stop.stop_requested()) disk::closeBehind(std::move(*copy)); // who stops a pass waits for its end
        return problem;
    };
    const Home& from = *mBench.homes[otherPeer(action.target)];
    const bool isYoung = isYoungChange(source.mtime, from.now()) || isYoungChange(source.ctime, from.now());
    auto content = bringContent(action, *file, source, *copy, seen ? &*seen : nullptr, staged);
    if (!content) return fail(content.problem());
    if (isYoung) {
        // A write while it was read could have left its times as they were.
        const auto again = digestOpen(*file, source, mBench.stop);
        if (!again) return fail(again.problem());
        if (again->whole != content->whole) return fail({EAGAIN, "copy it", action.path});
    }
    if (content->isDatabase || source.journals != Journals::None) {
        if (int code = completeDatabase(action, sourceFolder, source, *copy, *content)) {
            return fail({code, "copy it", action.path});
        }
        staged.isDatabase = true;
    }
    const auto after = look();
    if (!after) return fail(after.problem());
    if (!isUnchanged(*after, source)) return fail({EAGAIN, "copy it", action.path});

    staged.entry.digest = content->whole;
    staged.content = std::move(*content);
    const auto attributes = extended::copyOpen(file->number(), copy->number());
    if (!attributes) return fail(attributes.problem());
    const auto made = stampFile(copy->number(), source);
    if (!made) return fail({made.problem().code, "write a copy of it", action.path});
    const bool hasGrown = source.journals == Journals::Live; // by its log, see completeDatabase()
    if (!hasGrown && made->size != source.size) return fail({EIO, "write a copy of it", action.path});
    if (int code = finish(staged, *made, source, *attributes)) return fail({code, "write a copy of it", action.path});
    // It was quiet for so long that a change from now on shows in its times. Its log keeps it from being read again.
    if (staged.isDatabase) staged.entry.stamps[otherPeer(action.target)].ctime = source.ctime;
    if (home.flushesEachFile()) {
        if (int code = disk::syncFile(copy->number())) return fail({code, "write a copy of it", action.path});
    }
    if (staged.name.empty()) staged.file = std::move(*copy);
    return staged;
}

/// What was copied of a database is whole only if nobody was at it meanwhile; its journals hold the rest.
int Stager::completeDatabase(const Action& action, int sourceFolder, const Stat& source, const Descriptor& copy,
                             ContentDigest& content)
{
    const Home& home = *mBench.homes[otherPeer(action.target)];
    // A change within the file system's step of the one before would not show in the times. People set the mtime, too,
    // but hardly ever to this very moment.
    const std::int64_t now = home.now();
    const std::int64_t since = now - (kQuiet - kTick);
    if (isYoungChange(source.ctime, since)) return EBUSY;
    if (source.mtime <= now && isYoungChange(source.mtime, since)) return EBUSY;
    const std::string name{nameOf(action.path)};
    if (source.journals == Journals::None) return journals::areBeside(sourceFolder, name.c_str()) ? EBUSY : 0;
    if (source.journals == Journals::Idle) return 0;
    const auto alone = disk::statOf(copy.number());
    if (!alone) return alone.problem().code;
    if (alone->size != source.size) return EIO;
    if (int code = journals::checkNotInTransaction(sourceFolder, name, source, now)) return code;
    if (int code = journals::takeIn(sourceFolder, name.c_str(), copy)) return code;
    const auto stat = disk::statOf(copy.number());
    if (!stat) return stat.problem().code;
    auto whole = digestOpen(copy, *stat, mBench.stop);
    if (!whole) return whole.problem().code;
    content = std::move(*whole);
    return 0;
}

/// Somebody only touched it: there is nothing to copy but its attributes.
Outcome<Staged> Stager::unchangedContent(Staged staged, const Descriptor& file, const Stat& source) const
{
    const auto after = disk::statOf(file.number());
    if (!after) return after.problem();
    if (!isUnchanged(*after, source)) return Problem{EAGAIN, "copy it", staged.action->path};
    mCount(static_cast<std::uint64_t>(source.size));
    staged.isContentThere = true;
    staged.entry.digest = staged.action->known->whole;
    staged.content = *staged.action->known;
    return staged;
}

/// `seen` is what the source was found to hold, where it was read before.
Outcome<ContentDigest> Stager::bringContent(const Action& action, const Descriptor& source, const Stat& stat,
                                            const Descriptor& copy, const ContentDigest* seen, Staged& staged)
{
    const ByteCounter count = [&](std::uint64_t bytes) {
        staged.bytes += bytes;
        mCount(bytes);
    };
    // What has become so short that it is one block has no list of blocks to tell what changed.
    const bool hasBlocks = seen && !seen->blocks.empty();
    if (!hasBlocks || !beginWithOldVersion(action, copy)) return copyContent(source, stat, copy, mBench.stop, count);
    const auto changed = changedBlocks(*seen, action.known->blocks);
    if (int code = copyBlocks(source, stat, copy, *seen, changed, mBench.stop, count)) {
        return Problem{code, code == EAGAIN ? "copy it" : "write a copy of it", action.path};
    }
    return *seen;
}

/// False where all must be copied; the copy is empty then.
bool Stager::beginWithOldVersion(const Action& action, const Descriptor& copy)
{
    if (action.known->blocks.empty()) return false;
    const auto folder = mFolders[action.target].in(*mBench.homes[action.target], folderOf(action.path));
    if (!folder) return false;
    const auto old = disk::openFile(*folder, std::string{nameOf(action.path)}.c_str());
    const Stat& seen = action.stats[action.target];
    const auto isAsSeen = [&] {
        const auto now = disk::statOf(old->number());
        return now && isUnchanged(*now, seen);
    };
    if (!old || !isAsSeen()) return false;
    if (copyWithoutMoving(*old, seen.size, copy, mBench.stop) && isAsSeen()) return true;
    disk::rewrite(copy.number(), "");
    return false;
}

Outcome<Staged> Stager::stageLink(const Action& action, int sourceFolder, const Stat& source)
{
    const std::string sourceName{nameOf(action.path)};
    const auto target = disk::readLink(sourceFolder, sourceName.c_str());
    if (!target) return target.problem();
    const auto after = disk::statAt(sourceFolder, sourceName.c_str());
    if (!after) return after.problem();
    if (!isUnchanged(*after, source)) return Problem{EAGAIN, "copy it", action.path};

    Staged staged;
    staged.action = &action;
    staged.name = newName();
    staged.entry.digest = digestOf(*target);
    const int folder = mBench.homes[action.target]->staging();
    if (int code = disk::makeLink(folder, staged.name.c_str(), *target)) {
        // EPERM is what a file system without links says.
        return Problem{code == EPERM ? ENOTSUP : code, "make the link", ""};
    }
    int code = stampLink(folder, staged.name.c_str(), source);
    const auto made = disk::statAt(folder, staged.name.c_str());
    if (code == 0) code = made ? finish(staged, *made, source, {}) : made.problem().code;
    if (code != 0) {
        discard(staged);
        return Problem{code, "make the link", action.path};
    }
    return staged;
}

/// The copy, which has its attributes, as it is with the source's owner, mode and time.
Outcome<Stat> Stager::stampFile(int copy, const Stat& source)
{
    if (int code = disk::setModifiedTime(copy, source.mtime)) return Problem{code, "set its time", ""};
    const auto made = disk::statOf(copy);
    if (!made) return made;
    const bool isOwners = made->owner == source.owner && made->group == source.group;
    if (!isOwners && ::geteuid() == 0) disk::setOwner(copy, source.owner, source.group);
    // Another owner takes some of the bits away.
    if (isOwners && made->mode == source.mode) return made;
    // A file server that keeps no modes refuses or ignores this; then the copy has the mode it gives.
    const int code = disk::setMode(copy, source.mode);
    if (code != 0 && code != EPERM && code != ENOTSUP) return Problem{code, "set its mode", ""};
    return disk::statOf(copy);
}

int Stager::stampLink(int folder, const char* name, const Stat& source)
{
    if (!disk::holdsLinksApart(folder)) return 0;
    if (::geteuid() == 0) disk::setOwner(folder, name, source.owner, source.group);
    const int code = disk::setModifiedTime(folder, name, source.mtime);
    // Some file systems keep no time for a link.
    const bool isUnable = code == EPERM || code == ENOTSUP || code == ENOSYS;
    return isUnable ? 0 : code;
}

/// The copy has its attributes; where it will be swapped with an older version it gets the name that tells so.
int Stager::finish(Staged& staged, const Stat& copy, const Stat& source, const extended::Copied& attributes)
{
    const Action& action = *staged.action;
    const Peer sourcePeer = otherPeer(action.target);
    const int folder = mBench.homes[action.target]->staging();
    const char* name = staged.name.c_str();
    staged.stat = copy;
    if (action.stats[action.target].exists()) {
        const std::string swapped = swapName(copy.inode);
        if (int code = disk::renameOver(folder, name, folder, swapped.c_str())) return code;
        staged.name = swapped;
    }
    staged.entry.kind = source.kind;
    staged.entry.size = copy.size; // of a link too; of a live database its journals' share is in it
    staged.entry.stamps[sourcePeer] = stampFor(*mBench.homes[sourcePeer], source, attributes.source);
    staged.entry.stamps[action.target].attributes = attributes.target;
    return 0;
}

void Stager::discard(const Staged& staged) const
{
    if (staged.name.empty()) return;
    // A server may have swapped the copy with the person's version and its answer got lost: under the copy's name lies
    // the only one then. The next pass takes it to the trash.
    const auto there = disk::statAt(mBench.homes[staged.action->target]->staging(), staged.name.c_str());
    if (!there || (staged.stat.inode != 0 && there->inode != staged.stat.inode)) return;
    disk::unlink(mBench.homes[staged.action->target]->staging(), staged.name.c_str());
}

std::optional<Problem> Stager::recover(Home& home, Trash& trash)
{
    const Listing left = listFolder(home.staging(), home.device(), "");
    if (left.problem) return left.problem;
    for (const Listing::Item& item : left.items) {
        const bool isCopy = item.name.starts_with("new-") || item.name == swapName(item.stat.inode);
        int code = 0;
        if (item.stat.kind == Kind::Folder) {
            code = disk::removeFolder(home.staging(), item.name.c_str()); // not the engine's: it makes none here
            if (code == ENOTEMPTY || code == EEXIST) {
                code = trash.keep(home.staging(), item.name.c_str(), "recovered-" + item.name, item.stat);
            }
        } else if (isCopy) {
            code = disk::unlink(home.staging(), item.name.c_str());
        } else {
            code = trash.keep(home.staging(), item.name.c_str(), "recovered-" + item.name, item.stat);
        }
        if (code != 0) return Problem{code, "clear the staging folder", ".Braid/staging"};
    }
    return std::nullopt;
}

} // namespace braid
