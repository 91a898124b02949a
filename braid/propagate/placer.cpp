#include "placer.h"

#include <unistd.h>

#include <cerrno>

#include "braid/disk/calls.h"
#include "braid/disk/extended.h"
#include "braid/disk/file_system.h"
#include "braid/disk/journals.h"
#include "braid/disk/system.h"
#include "braid/reconcile/judge.h"
#include "respeller.h"

namespace braid
{

namespace
{

/// The item lies where nothing or something else was expected; 0 where it is as seen.
int checkUnchanged(int folder, const char* name, const Stat& seen)
{
    const auto now = journals::lookAgain(folder, name, seen);
    if (!now) return now.problem().code;
    return isUnchanged(*now, seen) ? 0 : EAGAIN;
}

bool cannotExchange(int code)
{
    return code == EINVAL || code == ENOSYS || code == ENOTSUP;
}

/// A file server that keeps no modes or attributes is no reason to fail.
int tolerant(int code)
{
    return code == EPERM || code == ENOTSUP ? 0 : code;
}

/// What waits must look like a change to the next pass, too.
void leaveUnagreed(Entry& entry, const Entry& agreed, AttributeSet keptOut)
{
    // A folder's times are agreed on when it is finished, and that is no sooner than all of it.
    if (entry.kind == Kind::Folder) keptOut |= kModifiedTime;
    entry.unfinished = {};
    for (const Peer peer : kPeers) {
        Stamp& stamp = entry.stamps[peer];
        const Stamp& before = agreed.stamps[peer];
        const Stamp now = stamp;
        if (keptOut & kMode) stamp.mode = before.mode;
        if (keptOut & kModifiedTime) stamp.mtime = before.mtime;
        if (keptOut & kExtended) stamp.attributes = before.attributes;
        const bool waits = stamp.mode != now.mode || stamp.mtime != now.mtime || stamp.attributes != now.attributes;
        if (waits) stamp.ctime = 0;
    }
}

} // namespace

/// Durable before the item changes: should the process end in between, the next pass must not take the gap for a
/// deletion by a person.
int Placer::markUnfinished(const std::string& path, Peer peer)
{
    mBench.archive.begin();
    mBench.archive.markUnfinished(path, peer);
    mBench.archive.commit();
    const auto failure = mBench.archive.failure();
    return failure ? failure->code : 0;
}

int Placer::keepInTrash(Peer peer, int folder, const char* name, const std::string& path, const Stat& seen,
                        Trash::Kept* kept)
{
    Trash::Kept own;
    if (!kept) kept = &own;
    const int code = mBench.trash[peer].keep(folder, name, path, seen, kept);
    if (code == 0) mBench.ownMoves[peer].note(seen, kept->stat);
    return code;
}

int Placer::putNew(const Staged& staged, int folder, const char* name)
{
    const Home& home = *mBench.homes[staged.action->target];
    if (staged.isDatabase && journals::areBeside(folder, name)) return EBUSY; // those of another version
    const int code = staged.file ? disk::nameFile(staged.file.number(), folder, name)
                                 : disk::renameNew(home.staging(), staged.name.c_str(), folder, name);
    return code == EEXIST ? EAGAIN : code;
}

int Placer::putOver(const Staged& staged, int folder, const char* name)
{
    const Action& action = *staged.action;
    const Stat seen = mBench.asLeft(action.target, action.stats[action.target]);
    if (int code = checkUnchanged(folder, name, seen)) return code;
    if (seen.journals != Journals::None) {
        const Home& home = *mBench.homes[action.target];
        if (int code = journals::checkNotInTransaction(folder, name, seen, home.now())) return code;
        // Without this the gap until the new version lies there would look like somebody's work.
        if (int code = markUnfinished(action.path, action.target)) return code;
        return withoutJournals(action, folder, seen,
                               [&](const Stat& alone) { return swapIn(staged, folder, name, alone); });
    }
    if (staged.isDatabase && journals::areBeside(folder, name)) return EBUSY; // a program has just opened the old one
    return swapIn(staged, folder, name, seen);
}

int Placer::swapIn(const Staged& staged, int folder, const char* name, const Stat& seen)
{
    const Action& action = *staged.action;
    const int staging = mBench.homes[action.target]->staging();
    const char* copy = staged.name.c_str();
    if (int code = disk::exchange(staging, copy, folder, name)) {
        return cannotExchange(code) ? putOverWithoutExchange(staged, folder, name, seen) : code;
    }
    // Now both versions exist whatever happens. Was it really the one that the scan saw?
    const auto old = disk::statAt(staging, copy);
    int code = old && isSameContentAfterRename(*old, seen) ? 0 : EAGAIN;
    if (code == 0) code = keepInTrash(action.target, staging, copy, action.path, seen);
    if (code != 0) disk::exchange(staging, copy, folder, name);
    return code;
}

/// The old version goes to the trash first, so for a moment nothing has the name.
int Placer::putOverWithoutExchange(const Staged& staged, int folder, const char* name, const Stat& seen)
{
    const Action& action = *staged.action;
    if (int code = markUnfinished(action.path, action.target)) return code;
    Trash::Kept old;
    if (int code = keepInTrash(action.target, folder, name, action.path, seen, &old)) return code;
    const int code = putNew(staged, folder, name);
    if (code != 0) mBench.trash[action.target].putBack(old, folder, name);
    return code;
}

int Placer::trashJournals(const Action& action, int folder, std::vector<TrashedJournal>& trashed)
{
    for (const std::string& journal : journals::namesBeside(std::string{nameOf(action.path)})) {
        const auto stat = disk::statAt(folder, journal.c_str());
        if (!stat) return stat.problem().code;
        if (stat->kind != Kind::File) continue;
        const std::string path = joinPath(folderOf(action.path), journal);
        Trash::Kept kept;
        if (int code = mBench.trash[action.target].keep(folder, journal.c_str(), path, *stat, &kept)) return code;
        trashed.push_back({journal, kept});
    }
    return 0;
}

/// The database's journals belong to the version that leaves and would damage the one that comes, so they leave first.
/// If `step`, which gets what is seen of the database alone, fails then, the version that stays has them back.
template <class Step>
int Placer::withoutJournals(const Action& action, int folder, const Stat& seen, Step step)
{
    const std::string name{nameOf(action.path)};
    const auto alone = disk::statAt(folder, name.c_str());
    if (!alone) return alone.problem().code;
    if (int code = checkUnchanged(folder, name.c_str(), seen)) return code; // so `alone` is no later state
    std::vector<TrashedJournal> trashed;
    int code = trashJournals(action, folder, trashed);
    const auto isAsBefore = [&] {
        const auto now = disk::statAt(folder, name.c_str());
        return now && isSameContentAfterRename(*now, *alone);
    };
    if (code == 0 && !isAsBefore()) code = EAGAIN;
    if (code == 0) code = step(*alone);
    if (code == 0 || trashed.empty() || !isAsBefore()) return code; // others have written it without them
    for (const TrashedJournal& journal : trashed)
        mBench.trash[action.target].putBack(journal.kept, folder, journal.name.c_str());
    return code;
}

int Placer::place(Staged& staged)
{
    const Action& action = *staged.action;
    const Peer target = action.target;
    const std::string_view above = folderOf(action.path);
    const auto folder = mBench.ensureFolder(target, above);
    if (!folder) return folder.problem().code;
    const std::string name{nameOf(action.path)};
    mBench.touch(target, above);
    const Kind replaced = action.stats[target].kind;
    // A folder in this place was emptied and removed before.
    const bool isNew = replaced == Kind::Absent || replaced == Kind::Folder;
    const int code = isNew ? putNew(staged, *folder, name.c_str()) : putOver(staged, *folder, name.c_str());
    staged.file.reset();
    if (code != 0) return code;

    Stamp& stamp = staged.entry.stamps[target];
    const std::uint64_t attributes = stamp.attributes;
    const auto placed = disk::statAt(*folder, name.c_str());
    if (placed && isSameContentAfterRename(*placed, staged.stat)) {
        mBench.ownMoves[target].note(staged.stat, *placed);
        stamp = stampForWritten(*mBench.homes[target], *placed, attributes);
    } else {
        // Somebody was at it already: agree on what was put there, and have the next pass look closely.
        stamp = stampForWritten(*mBench.homes[target], staged.stat, attributes);
        stamp.ctime = 0;
    }
    return 0;
}

int Placer::move(const Action& action)
{
    const Peer target = action.target;
    const Peer source = otherPeer(target);
    const std::string oldName{nameOf(action.from)};
    const std::string newName{nameOf(action.path)};
    const auto to = mBench.ensureFolder(target, folderOf(action.path));
    if (!to) return to.problem().code;
    const auto from = mBench.homes[target]->openFolder(folderOf(action.from));
    if (!from) return from.problem().code;
    const auto sourceFolder = mBench.folder(source, folderOf(action.path));
    if (!sourceFolder) return sourceFolder.problem().code;
    const Stat old = mBench.asLeft(target, action.fromStat);
    const Stat model = mBench.asLeft(source, action.stats[source]);
    if (int code = checkUnchanged(*sourceFolder, newName.c_str(), model)) return code;
    if (int code = checkUnchanged(from->number(), oldName.c_str(), old)) return code;

    mBench.touch(target, folderOf(action.from));
    mBench.touch(target, folderOf(action.path));
    int code = disk::renameNew(from->number(), oldName.c_str(), *to, newName.c_str());
    const std::string_view above = folderOf(action.path);
    if (code == EEXIST && above == folderOf(action.from)) {
        code = Respeller::rename(*mBench.homes[target], *to, above, oldName, newName);
    }
    if (code != 0) return code == EEXIST ? EAGAIN : code;
    const auto moved = disk::statAt(*to, newName.c_str());
    if (!moved || !isSameContentAfterRename(*moved, old)) {
        disk::renameNew(*to, newName.c_str(), from->number(), oldName.c_str());
        return EAGAIN;
    }
    mBench.ownMoves[target].note(old, *moved);
    Entry entry = action.entry;
    entry.stamps[target] = stampForWritten(*mBench.homes[target], *moved, action.entry.stamps[target].attributes);
    entry.stamps[source] = stampFor(*mBench.homes[source], model, action.entry.stamps[source].attributes);
    mBench.forgetLater(action.from);
    mBench.recordLater(action.path, entry, onlyOn(target));
    if (entry.digest && entry.size >= kLargeFile) {
        mBench.recordBlocksLater(action.path, {*entry.digest, mBench.archive.blocks(action.from, *entry.digest)});
    }
    return 0;
}

bool Placer::canCopyInsteadOfMove(const Action& action)
{
    const auto to = mBench.ensureFolder(action.target, folderOf(action.path));
    const auto from = mBench.homes[action.target]->openFolder(folderOf(action.from));
    return to && from && disk::system().mayWrite(*to) == 0 && disk::system().mayWrite(from->number()) != 0;
}

int Placer::makeFolder(const Action& action)
{
    const Peer target = action.target;
    const Peer source = otherPeer(target);
    const std::string_view above = folderOf(action.path);
    const std::string name{nameOf(action.path)};
    const auto folder = mBench.ensureFolder(target, above);
    if (!folder) return folder.problem().code;
    mBench.touch(target, above);
    std::optional<Trash::Kept> replaced;
    if (action.stats[target].exists()) {
        const Stat seen = mBench.asLeft(target, action.stats[target]);
        if (int code = checkUnchanged(*folder, name.c_str(), seen)) return code;
        if (int code = markUnfinished(action.path, target)) return code;
        if (int code = keepInTrash(target, *folder, name.c_str(), action.path, seen, &replaced.emplace())) return code;
    }
    const Stat& model = action.stats[source];
    const auto mode = static_cast<std::uint16_t>(model.mode | 0700); // what goes inside must get in
    if (int code = disk::makeFolder(*folder, name.c_str(), mode)) {
        if (replaced) mBench.trash[target].putBack(*replaced, *folder, name.c_str());
        return code == EEXIST ? EAGAIN : code;
    }
    const auto modelFolder = mBench.folder(source, above);
    if (!modelFolder) return modelFolder.problem().code;
    const auto copied = extended::copy(*modelFolder, name.c_str(), *folder, name.c_str());
    if (!copied) return copied.problem().code; // announced as unfinished, so the next pass sees to it
    if (::geteuid() == 0) disk::setOwner(*folder, name.c_str(), model.owner, model.group);
    return tolerant(disk::setMode(*folder, name.c_str(), mode)); // the process's mask must not narrow it
}

/// A deletion goes out only while the item is missing on the side that it is said to be deleted on.
int Placer::checkSourceStillGone(const Action& action)
{
    const Peer source = otherPeer(action.target);
    const auto folder = mBench.homes[source]->openFolder(folderOf(action.path));
    if (!folder) {
        const int code = folder.problem().code;
        const bool isGoneToo = code == ENOENT || code == ENOTDIR || code == ELOOP;
        return isGoneToo ? 0 : code;
    }
    const auto now = disk::statAt(folder->number(), std::string{nameOf(action.path)}.c_str());
    if (!now) return now.problem().code;
    return now->kind == action.stats[source].kind ? 0 : EAGAIN;
}

int Placer::remove(const Action& action)
{
    const Peer target = action.target;
    const std::string_view above = folderOf(action.path);
    const std::string name{nameOf(action.path)};
    if (int code = checkSourceStillGone(action)) return code;
    const auto folder = mBench.folder(target, above);
    if (!folder) return folder.problem().code;
    const Stat seen = mBench.asLeft(target, action.stats[target]);
    if (seen.kind == Kind::Folder) {
        // Its times moved with what was deleted inside; only an empty one goes.
        const auto now = disk::statAt(*folder, name.c_str());
        if (!now) return now.problem().code;
        if (now->kind != Kind::Folder || now->inode != seen.inode) return EAGAIN;
        if (action.stats[otherPeer(target)].exists()) {
            // Something takes the folder's place; without this the gap would look like a deletion by a person.
            if (int code = markUnfinished(action.path, target)) return code;
        }
        mBench.touch(target, above);
        const int code = disk::removeFolder(*folder, name.c_str());
        return code == ENOTEMPTY || code == EEXIST ? EAGAIN : code;
    }
    if (int code = checkUnchanged(*folder, name.c_str(), seen)) return code;
    mBench.touch(target, above);
    const auto toTrash = [&](const Stat& file) {
        return keepInTrash(target, *folder, name.c_str(), action.path, file);
    };
    if (seen.journals == Journals::None) return toTrash(seen);
    const Home& home = *mBench.homes[target];
    if (int code = journals::checkNotInTransaction(*folder, name, seen, home.now())) return code;
    return withoutJournals(action, *folder, seen, toTrash);
}

int Placer::restampOne(const Action& action, Peer target, AttributeSet attributes)
{
    const Peer source = otherPeer(target);
    const std::string name{nameOf(action.path)};
    const auto folder = mBench.folder(target, folderOf(action.path));
    if (!folder) return folder.problem().code;
    const auto sourceFolder = mBench.folder(source, folderOf(action.path));
    if (!sourceFolder) return sourceFolder.problem().code;
    const Stat& model = action.stats[source];
    if (attributes & kExtended) {
        const auto copied = extended::copy(*sourceFolder, name.c_str(), *folder, name.c_str());
        if (!copied) return copied.problem().code;
    }
    if (attributes & kMode) {
        if (int code = tolerant(disk::setMode(*folder, name.c_str(), model.mode))) return code;
    }
    if ((attributes & kModifiedTime) && (model.kind != Kind::Link || disk::holdsLinksApart(*folder))) {
        if (int code = disk::setModifiedTime(*folder, name.c_str(), model.mtime)) return code;
    }
    return 0;
}

int Placer::restamp(const Action& action)
{
    const std::string name{nameOf(action.path)};
    for (const Peer peer : kPeers) {
        const auto folder = mBench.folder(peer, folderOf(action.path));
        if (!folder) return folder.problem().code;
        const Stat seen = mBench.asLeft(peer, action.stats[peer]);
        const auto now = journals::lookAgain(*folder, name.c_str(), seen);
        if (!now) return now.problem().code;
        // A folder's times move with what this very pass did inside.
        const bool isFolder = seen.kind == Kind::Folder;
        if (isFolder ? now->kind != seen.kind || now->inode != seen.inode : !isUnchanged(*now, seen)) return EAGAIN;
    }
    if (action.toLocal) {
        if (int code = restampOne(action, Peer::Local, action.toLocal)) return code;
    }
    if (action.toNetwork) {
        if (int code = restampOne(action, Peer::Network, action.toNetwork)) return code;
    }

    Entry entry = action.entry;
    for (const Peer peer : kPeers) {
        const AttributeSet written = peer == Peer::Local ? action.toLocal : action.toNetwork;
        if (!written) continue;
        mBench.touchItemIn(peer, folderOf(action.path));
        const auto folder = mBench.folder(peer, folderOf(action.path));
        if (!folder) continue;
        const auto now = disk::statAt(*folder, name.c_str());
        const auto attributes = extended::hashOf(*folder, name.c_str());
        if (!now || !attributes) continue;
        Stamp stamp = stampForWritten(*mBench.homes[peer], *now, *attributes);
        // Content that changed while we were at the attributes shows in the size or in a time that we did not set.
        const Stat& seen = action.stats[peer];
        const std::int64_t wanted = (written & kModifiedTime) ? action.stats[otherPeer(peer)].mtime : seen.mtime;
        if (now->kind == Kind::File && (now->size != seen.size || now->mtime != wanted)) stamp.ctime = 0;
        entry.stamps[peer] = stamp;
    }
    if (action.keptOut != 0) {
        const auto agreed = mBench.archive.find(action.path);
        if (!agreed) return 0;
        leaveUnagreed(entry, *agreed, action.keptOut);
    }
    mBench.recordLater(action.path, entry, {action.toLocal != 0, action.toNetwork != 0});
    return 0;
}

int Placer::takeAttributes(Action& action)
{
    const Peer source = otherPeer(action.target);
    const AttributeSet attributes = source == Peer::Local ? action.toLocal : action.toNetwork;
    if (!attributes) return 0;
    const std::string name{nameOf(action.path)};
    const auto folder = mBench.folder(source, folderOf(action.path));
    if (!folder) return folder.problem().code;
    Stat& stat = action.stats[source];
    if (int code = checkUnchanged(*folder, name.c_str(), stat)) return code;
    if (int code = restampOne(action, source, attributes)) return code;
    mBench.touchItemIn(source, folderOf(action.path));
    const auto now = journals::lookAgain(*folder, name.c_str(), stat);
    if (!now) return now.problem().code;
    if (!isSameContentAfterRename(*now, stat)) return EAGAIN;
    stat = *now;
    return 0;
}

int Placer::restampTouched(const Staged& staged)
{
    Action action = *staged.action;
    action.verb = Action::Verb::Restamp;
    const PerPeer<Stamp>& stamps = action.entry.stamps;
    AttributeSet differing = kModifiedTime;
    if (action.stats.local.mode != action.stats.network.mode) differing |= kMode;
    if (stamps.local.attributes != stamps.network.attributes) differing |= kExtended;
    (action.target == Peer::Local ? action.toLocal : action.toNetwork) = differing;
    action.entry.digest = staged.entry.digest;
    return restamp(action);
}

std::shared_ptr<const ContentDigest> Placer::knownContent(const Action& action)
{
    const Stat& target = action.stats[action.target];
    const Stat& source = action.stats[otherPeer(action.target)];
    if (target.kind != Kind::File) return nullptr;
    // A small file of another size has changed, and is copied whole.
    if (target.size < kLargeFile && source.size != target.size) return nullptr;
    if (target.linked) return nullptr; // found to be touched only, it would be written to under all its names
    if (source.kind != Kind::File || source.journals == Journals::Live) return nullptr;
    const auto agreed = mBench.archive.find(action.path);
    if (!agreed || !agreed->digest || !stillLooksLike(target, *agreed, action.target)) return nullptr;
    auto known = std::make_shared<ContentDigest>();
    known->whole = *agreed->digest;
    if (target.size >= kLargeFile) known->blocks = mBench.archive.blocks(action.path, known->whole);
    return known;
}

int Placer::finishFolder(FolderFinish& finish)
{
    const JobOptions& options = mBench.coverage.job(finish.job).options;
    const std::string name{nameOf(finish.path)};
    PerPeer<bool> written;
    for (const Peer peer : kPeers) {
        const bool isCreated = finish.created == peer;
        const Stat& seen = finish.stats[peer];
        const bool timeDiffers = isCreated || finish.restamped[peer] || finish.mtime[peer] != seen.mtime;
        if (!timeDiffers && !mBench.disturbed[peer].contains(finish.path)) continue;
        if (decideWrite(peer, options).step == Step::KeptOut) continue;

        const auto folder = mBench.folder(peer, folderOf(finish.path));
        if (!folder) return folder.problem().code;
        const auto before = disk::statAt(*folder, name.c_str());
        if (!before) return before.problem().code;
        if (before->kind != Kind::Folder) return EAGAIN;
        const std::uint16_t mode = isCreated ? finish.stats[otherPeer(peer)].mode : before->mode;
        if (isCreated && before->mode != mode) {
            if (int code = tolerant(disk::setMode(*folder, name.c_str(), mode))) return code;
        }
        if (int code = disk::setModifiedTime(*folder, name.c_str(), finish.mtime[peer])) return tolerant(code);
        const auto after = disk::statAt(*folder, name.c_str());
        if (!after) return after.problem().code;
        std::uint64_t attributes = finish.entry.stamps[peer].attributes;
        const bool isOurs = isCreated || finish.restamped[peer];
        if (isOurs) {
            const auto hash = extended::hashOf(*folder, name.c_str());
            if (hash) attributes = *hash;
        }
        mBench.touchItemIn(peer, folderOf(finish.path));
        Stamp stamp = stampForWritten(*mBench.homes[peer], *after, attributes);
        // A mode that somebody set during the pass must still look like a change to the next one.
        if (!isOurs && seen.mode != after->mode) stamp.mode = finish.entry.stamps[peer].mode;
        finish.entry.stamps[peer] = stamp;
        written[peer] = true;
    }
    if (finish.created) {
        const Peer source = otherPeer(*finish.created);
        const auto folder = mBench.folder(source, folderOf(finish.path));
        const auto hash = folder ? extended::hashOf(*folder, name.c_str()) : Outcome<std::uint64_t>{Problem{}};
        finish.entry.stamps[source] = stampFor(*mBench.homes[source], finish.stats[source], hash ? *hash : 0);
    }
    finish.entry.kind = Kind::Folder;
    finish.entry.unfinished = {};
    if ((written.local || written.network) && finish.isRecorded) {
        mBench.recordLater(finish.path, finish.entry, written);
    }
    return 0;
}

} // namespace braid
