#include "linker.h"

#include <cerrno>

#include "braid/disk/calls.h"
#include "braid/reconcile/judge.h"

namespace braid
{

/// A stamp that is not trusted will be looked at again, for all names of the file.
bool Linker::holdsAgreed(Peer peer, const Stat& stat, const Entry& agreed) const
{
    const Stamp& stamp = agreed.stamps[peer];
    if (stat.kind != Kind::File || stat.size != agreed.size || stat.inode != stamp.inode) return false;
    if (stat.mtime != stamp.mtime || stat.mode != stamp.mode) return false;
    return stamp.ctime == 0 || stat.ctime == mBench.ownMoves[peer].now(stamp.inode, stamp.ctime);
}

Outcome<Staged> Linker::stage(const Action& action)
{
    const Peer target = action.target;
    const Peer source = otherPeer(target);
    const Problem refused{EAGAIN, "link it", action.path};
    const auto agreed = mBench.archive.find(action.from);
    if (!agreed || agreed->kind != Kind::File || agreed->unfinished.local || agreed->unfinished.network) return refused;

    const auto sourceFolder = mBench.folder(source, folderOf(action.path));
    if (!sourceFolder) return sourceFolder.problem();
    const auto wanted = disk::statAt(*sourceFolder, std::string{nameOf(action.path)}.c_str());
    if (!wanted) return wanted.problem();
    if (!holdsAgreed(source, *wanted, *agreed)) return refused;

    Home& home = *mBench.homes[target];
    const std::string name{nameOf(action.from)};
    const auto folder = mLinked.in(home, folderOf(action.from));
    if (!folder) return folder.problem();
    const auto file = disk::statAt(*folder, name.c_str());
    if (!file) return file.problem();
    if (!holdsAgreed(target, *file, *agreed)) return refused;

    Staged staged;
    staged.action = &action;
    const bool isSwapped = action.stats[target].exists();
    staged.name = isSwapped ? Stager::swapName(file->inode) : "new-link-" + std::to_string(++mSerial);
    if (int code = disk::addName(*folder, name.c_str(), home.staging(), staged.name.c_str())) {
        return Problem{code, "link it", action.path};
    }
    const auto linked = disk::statAt(home.staging(), staged.name.c_str());
    if (!linked || !isSameContentAfterRename(*linked, *file)) {
        disk::unlink(home.staging(), staged.name.c_str()); // something else lies under that name now
        return refused;
    }
    mBench.ownMoves[target].note(*file, *linked);
    staged.stat = *linked;
    staged.isDatabase = true; // perhaps; then journals of another version must not lie beside it
    staged.entry = *agreed;
    Stamp& stamp = staged.entry.stamps[source];
    const bool isTrusted = stamp.ctime != 0;
    stamp = stampFor(*mBench.homes[source], *wanted, stamp.attributes);
    if (!isTrusted) stamp.ctime = 0;
    if (agreed->digest && agreed->size >= kLargeFile) {
        staged.content = {*agreed->digest, mBench.archive.blocks(action.from, *agreed->digest)};
    }
    return staged;
}

} // namespace braid
