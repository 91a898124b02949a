#include "judge.h"

#include "braid/disk/content.h"
#include "braid/disk/extended.h"

namespace braid
{

namespace
{

// Covers the coarsest step in use (FAT's two seconds) and the kernel's own tick.
constexpr std::int64_t kYoung = 2'500'000'000;
// A time this far ahead is no clock's: the next edit will show as an earlier one.
constexpr std::int64_t kDay = 86'400'000'000'000;

// Stand-ins for content that nobody had to read; no real digest equals them but by a chance of 2^-128.
constexpr Digest kAgreedContent{~0ULL, 1};
constexpr Digest kFolderContent{0, 0};
constexpr Digest unreadContent(Peer peer)
{
    return {~0ULL, peer == Peer::Local ? 2ULL : 3ULL};
}

enum class Doubt { Same, Changed, Unsure };

bool isReadable(const Stat& stat)
{
    return stat.kind == Kind::File && stat.journals != Journals::Live;
}

/// The working values of one judgement.
class Judge
{
public:
    Judge(const PerPeer<Home*>& homes, FolderPair& folder, const PerPeer<const char*>& names,
          const PerPeer<Stat>& stats, Reading& reading, const std::stop_token& stop)
        : mHomes(homes), mFolder(folder), mNames(names), mStats(stats), mReading(reading), mStop(stop)
    {
    }

    Judgement run(const Entry* entry);

private:
    const Entry* afterUnfinishedPass(const Entry* entry);
    bool judgeAttributes(Peer peer);
    bool judgeContent();
    bool judgeFiles();
    bool isReadWhenCopied(Peer peer) const;
    bool read(Peer peer);
    bool fail(Peer peer, const Problem& problem);

    const PerPeer<Home*>& mHomes;
    FolderPair& mFolder;
    const PerPeer<const char*>& mNames;
    const PerPeer<Stat>& mStats;
    Reading& mReading;
    const std::stop_token& mStop;

    const Entry* mEntry = nullptr;
    Judgement mResult;
    PerPeer<Doubt> mDoubt;
    PerPeer<bool> mIsAsStamped; // without a look at its content
    PerPeer<std::uint64_t> mAttributes;
    PerPeer<std::optional<Digest>> mDigest;
};

bool Judge::fail(Peer peer, const Problem& problem)
{
    mResult.problem = problem;
    mResult.problemAt = peer;
    return false;
}

/// An entry that was written ahead of its action tells what the engine meant to do, not what anybody agreed to.
const Entry* Judge::afterUnfinishedPass(const Entry* entry)
{
    if (!entry) return nullptr;
    for (const Peer peer : kPeers) {
        if (!entry->unfinished[peer]) continue;
        mResult.stampsMoved = true;
        const Stat& stat = mStats[peer];
        if (!stat.exists()) return nullptr; // not made yet: no deletion
        if (stat.kind != entry->kind) return nullptr;
        if (stat.kind == Kind::Folder) mResult.mustRestamp[peer] = true;
    }
    return entry;
}

bool Judge::judgeAttributes(Peer peer)
{
    const Stat& stat = mStats[peer];
    Facts& facts = mResult.now[peer];
    facts.kind = stat.kind;
    mDoubt[peer] = Doubt::Changed;
    if (!stat.exists()) {
        mResult.stampsMoved = true;
        return true;
    }
    const bool known = mEntry && mEntry->kind == stat.kind;
    if (known && stillLooksLike(stat, *mEntry, peer)) {
        facts = mResult.before;
        mAttributes[peer] = mEntry->stamps[peer].attributes;
        mDoubt[peer] = Doubt::Same;
        mIsAsStamped[peer] = true;
        return true;
    }
    mResult.stampsMoved = true;
    if (stat.kind == Kind::File || stat.kind == Kind::Folder) {
        // Only comparing needs them: what exists on one side alone gets them when it is copied.
        if (mStats[otherPeer(peer)].exists() || known) {
            const auto folder = mFolder.on(peer);
            if (!folder) return fail(peer, folder.problem());
            const auto hash = extended::hashOf(*folder, mNames[peer]);
            if (!hash) return fail(peer, hash.problem());
            mAttributes[peer] = *hash;
        }
        facts.mode = stat.mode;
    }
    facts.attributes = mAttributes[peer];
    facts.mtime = stat.kind == Kind::Folder ? 0 : stat.mtime;
    if (!known) return true;

    const Stamp& stamp = mEntry->stamps[peer];
    const Facts& before = mResult.before;
    if (stat.mode == stamp.mode || mResult.mustRestamp[peer]) facts.mode = before.mode;
    // That of a live database is no attribute that could be set.
    const bool hasNoTime = stat.kind == Kind::Folder || stat.journals == Journals::Live;
    if (stat.mtime == stamp.mtime || hasNoTime) facts.mtime = before.mtime;
    if (facts.attributes == stamp.attributes || mResult.mustRestamp[peer]) facts.attributes = before.attributes;
    const bool sameSize = stat.kind != Kind::File || stat.size == mEntry->size;
    mDoubt[peer] = sameSize ? Doubt::Unsure : Doubt::Changed;
    return true;
}

bool Judge::read(Peer peer)
{
    const Stat& stat = mStats[peer];
    if (!mDigest[peer] && stat.linked) mDigest[peer] = mReading.done[peer].find(stat);
    if (mDigest[peer]) return true;
    const auto folder = mFolder.on(peer);
    if (!folder) return fail(peer, folder.problem());
    const auto digest =
        stat.kind == Kind::Link ? digestLink(*folder, mNames[peer]) : digestFile(*folder, mNames[peer], stat, mStop);
    if (!digest) return fail(peer, digest.problem());
    mDigest[peer] = *digest;
    if (stat.linked) mReading.done[peer].keep(stat, *digest);
    return true;
}

/// Somebody was at this file, and at no other version of it: it will be copied. That takes reading it, on several
/// threads, which then shows whether it was only touched.
bool Judge::isReadWhenCopied(Peer peer) const
{
    const Peer other = otherPeer(peer);
    const Stamp& stamp = mEntry->stamps[peer];
    // What has several names is touched under all of them, and must be neither copied nor linked anew for it.
    const bool isOne = !mStats[peer].linked && !mStats[other].linked;
    return mReading.canWait && isOne && stamp.ctime != 0 && stamp.mtime != mStats[peer].mtime &&
           mStats[other].kind == Kind::File && mDoubt[other] == Doubt::Same;
}

/// Reads files only where the decision hangs on it.
bool Judge::judgeFiles()
{
    const bool known = mEntry && mEntry->kind == Kind::File;
    PerPeer<bool> isReadLater;
    for (const Peer peer : kPeers)
        isReadLater[peer] = known && isReadWhenCopied(peer);
    for (const Peer peer : kPeers) {
        if (mDoubt[peer] != Doubt::Unsure || mStats[peer].kind != Kind::File) continue;
        mDoubt[peer] = Doubt::Changed;
        if (!known || !mEntry->digest) continue;
        if (isReadLater[peer] || mStats[peer].journals == Journals::Live) continue;
        if (!read(peer)) return false;
        if (mDigest[peer] == mEntry->digest) mDoubt[peer] = Doubt::Same;
    }
    const bool bothNew = mDoubt.local == Doubt::Changed && mDoubt.network == Doubt::Changed;
    const bool bothFiles = isReadable(mStats.local) && isReadable(mStats.network);
    if (bothNew && bothFiles && mStats.local.size == mStats.network.size) {
        if (!read(Peer::Local) || !read(Peer::Network)) return false;
    }
    return true;
}

bool Judge::judgeContent()
{
    if (mStats.local.kind == Kind::File || mStats.network.kind == Kind::File) {
        if (!judgeFiles()) return false;
    }
    for (const Peer peer : kPeers) {
        Facts& facts = mResult.now[peer];
        switch (facts.kind) {
        case Kind::Folder:
            facts.content = kFolderContent;
            break;
        case Kind::Link:
            if (mDoubt[peer] != Doubt::Same) {
                if (!read(peer)) return false;
                facts.content = *mDigest[peer];
            }
            break;
        case Kind::File:
            if (mDoubt[peer] == Doubt::Same) {
                facts.content = mResult.before.content;
            } else {
                facts.content = mDigest[peer].value_or(unreadContent(peer));
            }
            break;
        default:
            break;
        }
    }
    return true;
}

Judgement Judge::run(const Entry* entry)
{
    mEntry = afterUnfinishedPass(entry);
    if (mEntry) {
        Facts& before = mResult.before;
        before.kind = mEntry->kind;
        before.mode = mEntry->stamps.local.mode;
        before.mtime = mEntry->kind == Kind::Folder ? 0 : mEntry->stamps.local.mtime;
        before.attributes = mEntry->stamps.local.attributes;
        before.content = mEntry->kind == Kind::Folder ? kFolderContent : mEntry->digest.value_or(kAgreedContent);
    }
    for (const Peer peer : kPeers) {
        if (!judgeAttributes(peer)) return mResult;
    }
    if (!judgeContent()) return mResult;

    Entry& agreed = mResult.entry;
    const Peer shown = mStats.local.exists() ? Peer::Local : Peer::Network;
    agreed.kind = mStats[shown].kind;
    agreed.size = mStats[shown].size;
    // A database has another size once its log is taken in, as it was where it was copied to.
    const bool hasLog = mStats[shown].journals == Journals::Live;
    if (hasLog && mEntry && mDoubt[shown] == Doubt::Same) agreed.size = mEntry->size;
    if (mDigest[shown]) agreed.digest = mDigest[shown];
    if (!agreed.digest && mEntry && mDoubt[shown] == Doubt::Same) agreed.digest = mEntry->digest;
    for (const Peer peer : kPeers) {
        if (!mStats[peer].exists()) continue;
        // A stamp that was trusted stays so, however lately the item had changed when this pass began.
        agreed.stamps[peer] =
            mIsAsStamped[peer] ? mEntry->stamps[peer] : stampFor(*mHomes[peer], mStats[peer], mAttributes[peer]);
    }
    return mResult;
}

} // namespace

Outcome<int> FolderPair::on(Peer peer)
{
    if (!mOpened[peer]) {
        auto folder = mHomes[peer]->openFolder(mPaths[peer]);
        if (!folder) return folder.problem();
        mOpened[peer] = std::move(*folder);
    }
    return mOpened[peer].number();
}

bool isFineTime(std::int64_t time)
{
    constexpr std::int64_t kSecond = 1'000'000'000;
    return time % kSecond != 0;
}

bool isYoungChange(std::int64_t ctime, std::int64_t seenAt)
{
    return ctime > seenAt - (isFineTime(ctime) ? kTick : kYoung) && ctime <= seenAt + kDay;
}

Stamp stampForWritten(const Home& home, const Stat& stat, std::uint64_t attributes)
{
    Stamp stamp;
    stamp.inode = stat.inode;
    stamp.mtime = stat.mtime;
    stamp.mode = stat.mode;
    stamp.attributes = attributes;
    // A folder's content is listed at every pass anyway.
    const bool isOld = stat.mtime < home.openedAt() - kYoung || stat.mtime > home.openedAt() + kDay;
    stamp.ctime = isOld || stat.kind == Kind::Folder ? stat.ctime : 0;
    return stamp;
}

Stamp stampFor(const Home& home, const Stat& stat, std::uint64_t attributes)
{
    Stamp stamp = stampForWritten(home, stat, attributes);
    if (isYoungChange(stat.ctime, home.openedAt())) stamp.ctime = 0;
    return stamp;
}

bool stillLooksLike(const Stat& stat, const Entry& entry, Peer peer)
{
    const Stamp& stamp = entry.stamps[peer];
    if (stamp.ctime == 0 || stat.kind != entry.kind) return false;
    // What is copied of a database has its journals taken in, and perhaps another size.
    const bool hasSize = stat.kind == Kind::File && stat.journals != Journals::Live;
    if (hasSize && stat.size != entry.size) return false;
    return stat.inode == stamp.inode && stat.ctime == stamp.ctime && stat.mtime == stamp.mtime &&
           stat.mode == stamp.mode;
}

Judgement judge(const PerPeer<Home*>& homes, FolderPair& folder, const PerPeer<const char*>& names, const Entry* entry,
                const PerPeer<Stat>& stats, Reading& reading, const std::stop_token& stop)
{
    return Judge{homes, folder, names, stats, reading, stop}.run(entry);
}

} // namespace braid
