#include "workbench.h"

#include <cerrno>

#include "braid/disk/calls.h"
#include "braid/disk/extended.h"
#include "braid/reconcile/walk.h"

namespace braid
{

namespace
{

constexpr std::size_t kMuch = 2000; // rows to lose at most when the process is killed; they are compared again
constexpr std::uint16_t kOwnerAll = 0700;

} // namespace

Workbench::Workbench(const PerPeer<Home*>& theHomes, Archive& theArchive, const Coverage& theCoverage,
                     Reporter& theReporter, std::stop_token theStop, Plan& thePlan)
    : homes(theHomes), archive(theArchive), coverage(theCoverage), reporter(theReporter), stop(std::move(theStop)),
      plan(thePlan), trash{Trash{*theHomes.local}, Trash{*theHomes.network}}
{
}

Outcome<int> OpenFolder::in(const Home& home, std::string_view path)
{
    if (!mDescriptor || mPath != path) {
        auto opened = home.openFolder(path);
        if (!opened) return opened.problem();
        mDescriptor = std::move(*opened);
        mPath = path;
    }
    return mDescriptor.number();
}

Outcome<int> Workbench::folder(Peer peer, std::string_view path)
{
    return mCached[peer].in(*homes[peer], path);
}

Outcome<int> Workbench::ensureFolder(Peer peer, std::string_view path)
{
    auto present = folder(peer, path);
    if (present || present.problem().code != ENOENT || path.empty()) return present;

    const std::string_view above = folderOf(path);
    const auto parent = ensureFolder(peer, above);
    if (!parent) return parent;
    const std::string name{nameOf(path)};
    const auto model = folder(otherPeer(peer), above);
    if (!model) return model;
    const auto stat = disk::statAt(*model, name.c_str());
    if (!stat) return stat.problem();
    if (stat->kind != Kind::Folder) return Problem{ENOTDIR, "make the folder", std::string{path}};
    touch(peer, above);
    int code = disk::makeFolder(*parent, name.c_str(), stat->mode | kOwnerAll);
    if (code == 0) code = disk::setMode(*parent, name.c_str(), stat->mode | kOwnerAll);
    if (code == EPERM || code == ENOTSUP) code = 0; // a file server that keeps no modes
    if (code != 0 && code != EEXIST) return Problem{code, "make the folder", std::string{path}};
    extended::copy(*model, name.c_str(), *parent, name.c_str());
    return folder(peer, path);
}

void Workbench::touch(Peer peer, std::string_view folder)
{
    mUnsynced[peer].emplace(folder);
    disturbed[peer].emplace(folder);
}

void Workbench::recordLater(const std::string& path, const Entry& entry)
{
    mRecords.emplace_back(path, entry);
}

void Workbench::recordBlocksLater(const std::string& path, ContentDigest content)
{
    if (static_cast<std::int64_t>(content.blocks.size()) * kBlockBytes < kLargeFile) return;
    mBlocks.emplace_back(path, std::move(content));
}

void Workbench::forgetLater(const std::string& path)
{
    mForgets.push_back(path);
}

bool Workbench::hasMuchToSettle() const
{
    return mRecords.size() + mForgets.size() >= kMuch;
}

std::optional<Problem> Workbench::settle()
{
    for (const Peer peer : kPeers) {
        if (mUnsynced[peer].empty()) continue;
        if (auto problem = homes[peer]->makeDurable(mUnsynced[peer])) return problem;
        mUnsynced[peer].clear();
    }
    if (mRecords.empty() && mForgets.empty()) return std::nullopt;
    archive.begin();
    // First forget: a path may have been left by one item and taken by another.
    for (const std::string& path : mForgets)
        archive.forget(path);
    for (const auto& [path, entry] : mRecords)
        archive.record(path, entry);
    for (const auto& [path, content] : mBlocks)
        archive.recordBlocks(path, content.whole, content.blocks);
    archive.commit();
    mRecords.clear();
    mBlocks.clear();
    mForgets.clear();
    return archive.failure();
}

std::optional<Problem> Workbench::tellOwnMoves()
{
    if (ownMoves.local.empty() && ownMoves.network.empty()) return std::nullopt;
    archive.begin();
    for (const Peer peer : kPeers) {
        const OwnMoves& moves = ownMoves[peer];
        if (moves.empty()) continue;
        archive.replaceChangeTimes(
            peer, [&moves](std::uint64_t inode, std::int64_t ctime) { return moves.now(inode, ctime); });
    }
    archive.commit();
    return archive.failure();
}

void Workbench::fail(const std::string& path, Peer peer, const Problem& problem)
{
    addError(plan, path, peer, problem);
}

} // namespace braid
