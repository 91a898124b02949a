#include "respeller.h"

#include <algorithm>
#include <cerrno>
#include <initializer_list>

#include "braid/disk/calls.h"
#include "braid/disk/listing.h"
#include "braid/disk/system.h"

namespace braid
{

namespace
{

// In the staging folder: an item on its way from one spelling to another, and the path that it comes from.
constexpr const char* kItem = "case";
constexpr const char* kPath = "case.path";
constexpr std::size_t kLongestPath = std::size_t{1} << 20;

bool lists(int folder, const std::string& name)
{
    std::vector<std::string> names;
    const auto opened = disk::openFolder(folder, ""); // a descriptor is good for one listing
    if (!opened || disk::system().listNames(opened->number(), names) < 0) return false;
    return std::ranges::find(names, name) != names.end();
}

int writePath(int staging, const std::string& path)
{
    const auto file = disk::openToWrite(staging, kPath, true);
    if (!file) return file.problem().code;
    if (int code = disk::rewrite(file->number(), path)) return code;
    return disk::syncFile(file->number());
}

/// By way of the staging folder, for file systems to which nothing seems to change.
int renameInTwoSteps(const Home& home, int folder, std::string_view above, const std::string& from,
                     const std::string& to)
{
    const int staging = home.staging();
    const auto left = disk::statAt(staging, kItem);
    if (!left) return left.problem().code;
    if (left->exists()) return EBUSY; // what could not be put back: the path beside it must stay its own
    if (int code = writePath(staging, joinPath(above, from))) return code;
    if (int code = disk::renameNew(folder, from.c_str(), staging, kItem)) return code;
    const int code = disk::renameNew(staging, kItem, folder, to.c_str());
    if (code != 0 && disk::renameNew(staging, kItem, folder, from.c_str()) != 0) return code; // recover() knows of it
    disk::unlink(staging, kPath);
    return code;
}

} // namespace

bool isOtherSpelling(int folder, const std::string& name)
{
    const auto stat = disk::statAt(folder, name.c_str());
    return stat && stat->exists() && !lists(folder, name);
}

int Respeller::rename(const Home& home, int folder, std::string_view above, const std::string& from,
                      const std::string& to)
{
    const auto item = disk::statAt(folder, from.c_str());
    if (!item) return item.problem().code;
    int code = disk::renameNew(folder, from.c_str(), folder, to.c_str());
    if (code != EEXIST) return code;
    const auto there = disk::statAt(folder, to.c_str());
    if (!there) return there.problem().code;
    if (there->kind != item->kind || there->inode != item->inode || lists(folder, to)) return EAGAIN;
    // Some servers do it at once; for others both names are the same and there is nothing to do.
    code = disk::renameOver(folder, from.c_str(), folder, to.c_str());
    if (code == 0 && lists(folder, to)) return 0;
    return renameInTwoSteps(home, folder, above, from, to);
}

std::optional<Problem> Respeller::recover(const Home& home)
{
    const int staging = home.staging();
    const auto unless = [](int code, std::initializer_list<int> fine) -> std::optional<Problem> {
        if (code == 0 || std::ranges::find(fine, code) != fine.end()) return std::nullopt;
        return Problem{code, "give an item its name back", ".Braid/staging"};
    };
    const auto file = disk::openFile(staging, kPath);
    if (!file) return unless(file.problem().code, {ENOENT});
    const auto path = disk::readSmall(file->number(), kLongestPath);
    if (!path) return unless(path.problem().code, {});
    const auto folder = home.openFolder(folderOf(*path));
    const int code = folder ? disk::renameNew(staging, kItem, folder->number(), std::string{nameOf(*path)}.c_str())
                            : folder.problem().code;
    // It had its name already, or there is no place for it any more. Anything else must not look like a deletion.
    if (auto problem = unless(code, {ENOENT, ENOTDIR, ELOOP, EEXIST})) return problem;
    return unless(disk::unlink(staging, kPath), {ENOENT}); // what is left without it goes to the trash
}

int Respeller::respell(const Respelling& respelling)
{
    const Home& home = *mBench.homes[*respelling.target];
    const std::string above{folderOf(respelling.path)};
    const std::string to{nameOf(respelling.path)};
    const auto folder = home.openFolder(above);
    if (!folder) return folder.problem().code;
    const auto now = disk::statAt(folder->number(), respelling.from.c_str());
    if (!now) return now.problem().code;
    if (now->kind != respelling.stat.kind || now->inode != respelling.stat.inode) return EAGAIN;
    mBench.touch(*respelling.target, above);
    if (int code = rename(home, folder->number(), above, respelling.from, to)) return code;
    const auto renamed = disk::statAt(folder->number(), to.c_str());
    if (!renamed || !isSameContentAfterRename(*renamed, *now)) return 0;
    const Stat seen = mBench.asLeft(*respelling.target, respelling.stat);
    mBench.ownMoves[*respelling.target].note(*now, *renamed);
    // A file that somebody was at since the scan must go on looking like it.
    if (now->kind == Kind::Folder || now->ctime == seen.ctime) mRenamed[respelling.path][*respelling.target] = *renamed;
    return 0;
}

void Respeller::tellArchive(const std::vector<Respelling>& done)
{
    mBench.archive.begin();
    for (const Respelling& each : done) {
        if (each.agreedAs.empty()) continue;
        mBench.archive.rename(joinPath(folderOf(each.path), each.agreedAs), each.path);
    }
    mBench.archive.commit();
}

/// Renaming moves an item's change time on most file systems, and nothing else.
void Respeller::refresh(const std::string& path, PerPeer<Stat>& stats, Entry& entry) const
{
    const auto found = mRenamed.find(path);
    if (found == mRenamed.end()) return;
    for (const Peer peer : kPeers) {
        const Stat& now = found->second[peer];
        if (!now.exists() || !isSameContentAfterRename(now, stats[peer])) continue;
        if (entry.stamps[peer].ctime == stats[peer].ctime) entry.stamps[peer].ctime = now.ctime;
        stats[peer].ctime = now.ctime;
    }
}

void Respeller::refresh()
{
    if (mRenamed.empty()) return;
    Plan& plan = mBench.plan;
    for (ActionList* list : plan.lists()) {
        list->each([&](ActionList::Index index, Action action) {
            if (!mRenamed.contains(action.path)) return;
            refresh(action.path, action.stats, action.entry);
            list->replace(index, action);
        });
    }
    for (FolderFinish& finish : plan.finishes)
        refresh(finish.path, finish.stats, finish.entry);
}

std::optional<Problem> Respeller::run()
{
    Plan& plan = mBench.plan;
    if (plan.respellings.empty()) return std::nullopt;
    std::vector<Respelling> done;
    PathSet failed;
    std::size_t at = 0;
    while (at < plan.respellings.size() && !mBench.isStopped()) {
        const Respelling next = plan.respellings[at++];
        if (liesIn(failed, next.path)) continue; // parents come first
        if (next.target) {
            mBench.reporter.at(next.path);
            const int code = respell(next);
            mBench.reporter.addItem();
            if (mBench.isLost(code)) return Problem{code, "reach " + std::string{homeWords(*next.target)}, next.path};
            if (code != 0) {
                mBench.fail(next.path, *next.target, {code, "rename it", next.path});
                failed.insert(next.path);
                continue;
            }
            ++mBench.counts.renamed;
        }
        done.push_back(next);
    }
    plan.respellings.erase(plan.respellings.begin(), plan.respellings.begin() + static_cast<std::ptrdiff_t>(at));
    plan.withdraw(failed);
    refresh();
    // The archive must not know of a name that a power failure takes back.
    if (auto problem = mBench.settle()) return problem;
    tellArchive(done);
    return mBench.archive.failure();
}

} // namespace braid
