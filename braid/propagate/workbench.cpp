#include "workbench.h"

#include <algorithm>
#include <cerrno>
#include <iterator>
#include <system_error>
#include <unordered_set>
#include <utility>

#include "braid/disk/calls.h"
#include "braid/disk/extended.h"
#include "braid/disk/system.h"
#include "braid/reconcile/judge.h"
#include "braid/reconcile/walk.h"
#include "lost_home.h"

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
    touchItemIn(peer, folder);
    disturbed[peer].emplace(folder);
}

void Workbench::touchItemIn(Peer peer, std::string_view folder)
{
    mUnsynced[peer].emplace(folder);
}

void Workbench::recordLater(const std::string& path, const Entry& entry, PerPeer<bool> written)
{
    mNews.records.push_back({path, entry, written});
}

void Workbench::recordBlocksLater(const std::string& path, ContentDigest content)
{
    if (static_cast<std::int64_t>(content.blocks.size()) * kBlockBytes < kLargeFile) return;
    mNews.blocks.emplace_back(path, std::move(content));
}

void Workbench::forgetLater(const std::string& path)
{
    mNews.forgets.push_back(path);
}

bool Workbench::hasMuchToSettle() const
{
    return mNews.records.size() - mKeptBack + mNews.forgets.size() >= kMuch;
}

bool Workbench::isYoung(const Record& record, const PerPeer<std::optional<std::int64_t>>& clocks) const
{
    return std::ranges::any_of(kPeers, [&](Peer peer) {
        const std::int64_t ctime = record.entry.stamps[peer].ctime;
        return record.written[peer] && ctime != 0 && (!clocks[peer] || isYoungChange(ctime, *clocks[peer]));
    });
}

/// What was recorded of an item last stands for what was before, which must not be told after it.
void Workbench::dropSuperseded(std::vector<Record>& records)
{
    std::unordered_set<std::string> later;
    const auto isSuperseded = [&](const Record& record) { return !later.insert(record.path).second; };
    const auto end = std::remove_if(records.rbegin(), records.rend(), isSuperseded);
    records.erase(records.begin(), end.base());
}

/// Leaves the records of what was written so long ago that any change since then shows.
void Workbench::keepBackYoung(std::vector<Record>& records)
{
    PerPeer<std::optional<std::int64_t>> clocks;
    for (const Peer peer : kPeers) {
        if (std::ranges::any_of(records, [&](const Record& record) { return record.written[peer]; }))
            clocks[peer] = homes[peer]->readClock();
    }
    const auto isRipe = [&](const Record& record) { return !isYoung(record, clocks); };
    if (std::ranges::all_of(records, isRipe)) return;
    dropSuperseded(records);
    const auto young = std::stable_partition(records.begin(), records.end(), isRipe);
    std::unordered_set<std::string_view> later;
    for (const Record& record : mSettling.records)
        later.insert(record.path);
    std::copy_if(std::make_move_iterator(young), std::make_move_iterator(records.end()),
                 std::back_inserter(mNews.records), [&](const Record& record) { return !later.contains(record.path); });
    records.erase(young, records.end());
    mKeptBack = mNews.records.size(); // nothing was recorded since the flush began
}

/// Programs that watch a home may have set some before the tick was over in which the item appeared.
void Workbench::checkAttributes(Record& record)
{
    constexpr Peer kWatched = Peer::Local;
    Stamp& stamp = record.entry.stamps[kWatched];
    if (!record.written[kWatched] || stamp.ctime == 0) return;
    const auto in = folder(kWatched, folderOf(record.path));
    const auto hash =
        in ? extended::hashOf(*in, std::string{nameOf(record.path)}.c_str()) : Outcome<std::uint64_t>{in.problem()};
    if (!hash || *hash != stamp.attributes) stamp.ctime = 0; // the next pass looks closely
}

void Workbench::tell(const News& news)
{
    // First forget: a path may have been left by one item and taken by another.
    for (const std::string& path : news.forgets)
        archive.forget(path);
    for (const Record& record : news.records)
        archive.record(record.path, record.entry);
    for (const auto& [path, content] : news.blocks)
        archive.recordBlocks(path, content.whole, content.blocks);
}

std::optional<Problem> Workbench::makeDurable(const PerPeer<std::set<std::string>>& folders) const
{
    for (const Peer peer : kPeers) {
        if (folders[peer].empty()) continue;
        if (auto problem = homes[peer]->makeDurable(folders[peer])) return problem;
    }
    return std::nullopt;
}

void Workbench::startFlush()
{
    mSettling = std::exchange(mNews, {});
    mKeptBack = 0;
    PerPeer<std::set<std::string>> folders = std::exchange(mUnsynced, {});
    const bool isAny = !folders.local.empty() || !folders.network.empty();
    const auto flush = [this, folders = std::move(folders)] { return makeDurable(folders); };
    try {
        mFlush = std::async(isAny && disk::system().isConcurrent() ? std::launch::async : std::launch::deferred, flush);
    } catch (const std::system_error&) {
        mFlush = std::async(std::launch::deferred, flush); // no thread is to be had
    }
}

std::optional<Problem> Workbench::finishFlush()
{
    if (!mFlush.valid()) return mNotDurable;
    auto problem = mFlush.get();
    if (problem && !mNotDurable) mNotDurable = std::move(problem);
    return mNotDurable;
}

/// What the archive may know of by now.
Workbench::News Workbench::ripe(News news)
{
    keepBackYoung(news.records);
    for (Record& record : news.records)
        checkAttributes(record);
    return news;
}

std::optional<Problem> Workbench::settleBehind()
{
    if (auto problem = finishFlush()) return problem;
    News news = std::exchange(mSettling, {});
    startFlush();
    news = ripe(std::move(news));
    if (news.isEmpty()) return std::nullopt;
    archive.beginLazily(); // should it be lost, the next pass finds both homes alike
    tell(news);
    archive.commitLazily();
    return archive.failure();
}

std::optional<Problem> Workbench::settle()
{
    if (auto problem = settleBehind()) return problem;
    if (auto problem = finishFlush()) return problem;
    const News news = ripe(std::exchange(mSettling, {}));
    if (news.isEmpty()) return std::nullopt;
    archive.begin();
    tell(news);
    archive.commit();
    return archive.failure();
}

std::optional<Problem> Workbench::settleAll()
{
    constexpr int kMostWaits = 4;
    constexpr std::int64_t kWait = kTick / 2;
    const auto isFine = [](const Record& record) {
        return std::ranges::any_of(
            kPeers, [&](Peer peer) { return record.written[peer] && isFineTime(record.entry.stamps[peer].ctime); });
    };
    auto problem = settle();
    for (int waits = 0; !problem && waits < kMostWaits && std::ranges::any_of(mNews.records, isFine); ++waits) {
        disk::system().wait(kWait);
        problem = settle();
    }
    if (problem || mNews.records.empty()) return problem;
    // The file system's own step is the coarser: the next pass looks closely.
    for (Record& record : mNews.records) {
        for (const Peer peer : kPeers) {
            if (record.written[peer]) record.entry.stamps[peer].ctime = 0;
            record.written[peer] = false;
        }
    }
    return settle();
}

std::optional<Problem> Workbench::tellOwnMoves()
{
    if (ownMoves.local.empty() && ownMoves.network.empty()) return std::nullopt;
    disk::system().wait(kTick); // what people do from now on shows in another change time
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

bool Workbench::isLost(int code)
{
    constexpr int kMostOddAnswers = 10; // each may have taken a minute
    if (!meansLostHome(code)) return false;
    return ++mOddAnswers > kMostOddAnswers ||
           std::ranges::any_of(kPeers, [&](Peer peer) { return homes[peer]->checkStillThere().has_value(); });
}

void Workbench::fail(const std::string& path, Peer peer, const Problem& problem)
{
    addError(plan, path, peer, problem);
}

} // namespace braid
