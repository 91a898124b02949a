#include "action_list.h"

#include <algorithm>
#include <cstring>

namespace braid
{

namespace
{

constexpr std::size_t kBlock = std::size_t{256} * 1024;

// First byte of an action: its verb in the lower four bits, and these.
constexpr unsigned kToLocalHome = 0x10;
constexpr unsigned kSetsAttributes = 0x20;

// First byte of a stat: its kind in the lower three bits, and these.
constexpr unsigned kSparse = 0x08;
constexpr unsigned kLinked = 0x40;
constexpr unsigned kJournalsShift = 4; ///< Two bits.

// First byte of an entry: its kind in the lower three bits, and these.
constexpr unsigned kHasDigest = 0x08;
constexpr unsigned kUnfinishedLocal = 0x10;
constexpr unsigned kUnfinishedNetwork = 0x20;

// First byte of a stamp.
constexpr unsigned kLikeStat = 0x01; ///< Inode, time and mode are those of the stat of the same side.
constexpr unsigned kTrusted = 0x02;  ///< With kLikeStat: so is the ctime; else it is 0.
constexpr unsigned kExplicit = 0x04; ///< All figures follow; without this and kLikeStat there are none.
constexpr unsigned kAttributes = 0x08;

void addByte(std::string& bytes, unsigned value)
{
    bytes.push_back(static_cast<char>(value));
}

unsigned takeByte(const char*& at)
{
    return static_cast<unsigned char>(*at++);
}

/// Seven bits a byte, the least first; the top bit says that more follow.
void addNumber(std::string& bytes, std::uint64_t value)
{
    for (; value >= 0x80; value >>= 7)
        addByte(bytes, static_cast<unsigned>(value & 0x7f) | 0x80);
    addByte(bytes, static_cast<unsigned>(value));
}

std::uint64_t takeNumber(const char*& at)
{
    std::uint64_t value = 0;
    for (unsigned shift = 0;; shift += 7) {
        const unsigned byte = takeByte(at);
        value |= std::uint64_t{byte & 0x7f} << shift;
        if (!(byte & 0x80)) return value;
    }
}

template <class Value>
void addRaw(std::string& bytes, const Value& value)
{
    char raw[sizeof value];
    std::memcpy(raw, &value, sizeof value);
    bytes.append(raw, sizeof raw);
}

template <class Value>
void takeRaw(const char*& at, Value& value)
{
    std::memcpy(&value, at, sizeof value);
    at += sizeof value;
}

void addText(std::string& bytes, std::string_view text)
{
    addNumber(bytes, text.size());
    bytes.append(text);
}

std::string_view takeText(const char*& at)
{
    const auto length = static_cast<std::size_t>(takeNumber(at));
    const std::string_view text{at, length};
    at += length;
    return text;
}

void addStamp(std::string& bytes, const Stamp& stamp, const Stat& stat)
{
    const bool isEmpty = stamp.inode == 0 && stamp.ctime == 0 && stamp.mtime == 0 && stamp.mode == 0;
    const bool isLikeStat = stat.exists() && stamp.inode == stat.inode && stamp.mtime == stat.mtime &&
                            stamp.mode == stat.mode && (stamp.ctime == 0 || stamp.ctime == stat.ctime);
    unsigned flags = stamp.attributes != 0 ? kAttributes : 0;
    if (isLikeStat) {
        flags |= kLikeStat | (stamp.ctime != 0 ? kTrusted : 0);
    } else if (!isEmpty) {
        flags |= kExplicit;
    }
    addByte(bytes, flags);
    if (flags & kExplicit) {
        addNumber(bytes, stamp.inode);
        addRaw(bytes, stamp.ctime);
        addRaw(bytes, stamp.mtime);
        addRaw(bytes, stamp.mode);
    }
    if (flags & kAttributes) addRaw(bytes, stamp.attributes);
}

Stamp takeStamp(const char*& at, const Stat& stat)
{
    Stamp stamp;
    const unsigned flags = takeByte(at);
    if (flags & kLikeStat) {
        stamp.inode = stat.inode;
        stamp.mtime = stat.mtime;
        stamp.mode = stat.mode;
        if (flags & kTrusted) stamp.ctime = stat.ctime;
    } else if (flags & kExplicit) {
        stamp.inode = takeNumber(at);
        takeRaw(at, stamp.ctime);
        takeRaw(at, stamp.mtime);
        takeRaw(at, stamp.mode);
    }
    if (flags & kAttributes) takeRaw(at, stamp.attributes);
    return stamp;
}

} // namespace

std::uint64_t ActionList::folderNumber(std::string_view folder)
{
    if (mFolders.empty() || mFolders.back() != folder) mFolders.emplace_back(folder);
    return mFolders.size() - 1;
}

std::uint64_t ActionList::ownersNumber(const Stat& stat)
{
    const std::pair owners{stat.owner, stat.group};
    const auto known = std::ranges::find(mOwners, owners);
    if (known != mOwners.end()) return static_cast<std::uint64_t>(known - mOwners.begin());
    mOwners.push_back(owners);
    return mOwners.size() - 1;
}

void ActionList::addStat(const Stat& stat)
{
    addByte(mScratch, static_cast<unsigned>(stat.kind) | (stat.sparse ? kSparse : 0) | (stat.linked ? kLinked : 0) |
                          static_cast<unsigned>(stat.journals) << kJournalsShift);
    if (!stat.exists()) return;
    addRaw(mScratch, stat.mode);
    addNumber(mScratch, ownersNumber(stat));
    addNumber(mScratch, stat.inode);
    addNumber(mScratch, static_cast<std::uint64_t>(stat.size));
    addRaw(mScratch, stat.mtime);
    addRaw(mScratch, stat.ctime);
}

Stat ActionList::takeStat(const char*& at) const
{
    Stat stat;
    const unsigned first = takeByte(at);
    stat.kind = static_cast<Kind>(first & 0x07);
    stat.sparse = (first & kSparse) != 0;
    stat.linked = (first & kLinked) != 0;
    stat.journals = static_cast<Journals>(first >> kJournalsShift & 0x03);
    if (!stat.exists()) return stat;
    takeRaw(at, stat.mode);
    std::tie(stat.owner, stat.group) = mOwners[static_cast<std::size_t>(takeNumber(at))];
    stat.inode = takeNumber(at);
    stat.size = static_cast<std::int64_t>(takeNumber(at));
    takeRaw(at, stat.mtime);
    takeRaw(at, stat.ctime);
    return stat;
}

void ActionList::addEntry(const Action& action)
{
    const Entry& entry = action.entry;
    addByte(mScratch, static_cast<unsigned>(entry.kind) | (entry.digest ? kHasDigest : 0) |
                          (entry.unfinished.local ? kUnfinishedLocal : 0) |
                          (entry.unfinished.network ? kUnfinishedNetwork : 0));
    addNumber(mScratch, static_cast<std::uint64_t>(entry.size));
    if (entry.digest) addRaw(mScratch, *entry.digest);
    for (const Peer peer : kPeers)
        addStamp(mScratch, entry.stamps[peer], action.stats[peer]);
}

void ActionList::takeEntry(const char*& at, Action& action) const
{
    Entry& entry = action.entry;
    const unsigned first = takeByte(at);
    entry.kind = static_cast<Kind>(first & 0x07);
    entry.unfinished = {(first & kUnfinishedLocal) != 0, (first & kUnfinishedNetwork) != 0};
    entry.size = static_cast<std::int64_t>(takeNumber(at));
    if (first & kHasDigest) takeRaw(at, entry.digest.emplace());
    for (const Peer peer : kPeers)
        entry.stamps[peer] = takeStamp(at, action.stats[peer]);
}

ActionList::Position ActionList::write(const Action& action)
{
    mScratch.clear();
    const bool setsAttributes = action.toLocal != 0 || action.toNetwork != 0;
    addByte(mScratch, static_cast<unsigned>(action.verb) | (action.target == Peer::Local ? kToLocalHome : 0) |
                          (setsAttributes ? kSetsAttributes : 0));
    addNumber(mScratch, action.job);
    addNumber(mScratch, folderNumber(folderOf(action.path)));
    addText(mScratch, nameOf(action.path));
    for (const Peer peer : kPeers)
        addStat(action.stats[peer]);
    addEntry(action);
    if (action.verb == Action::Verb::Link) addText(mScratch, action.from);
    if (action.verb == Action::Verb::Move) {
        addText(mScratch, action.from);
        addStat(action.fromStat);
    }
    if (setsAttributes) {
        addByte(mScratch, action.toLocal | unsigned{action.toNetwork} << 4);
        addByte(mScratch, action.keptOut);
    }

    if (mBlocks.empty() || mUsed + mScratch.size() > kBlock) {
        // A path may be longer than a whole block should be; then the block is as long as it must.
        mBlocks.push_back(std::make_unique_for_overwrite<char[]>(std::max(kBlock, mScratch.size())));
        mUsed = 0;
    }
    const Position position = Position{mBlocks.size() - 1} << 32 | mUsed;
    std::memcpy(mBlocks.back().get() + mUsed, mScratch.data(), mScratch.size());
    mUsed += mScratch.size();
    return position;
}

void ActionList::add(const Action& action)
{
    mPositions.push_back(write(action));
}

void ActionList::replace(Index index, const Action& action)
{
    mPositions[index] = write(action);
}

void ActionList::drop(Index index)
{
    if (mDropped.size() <= index) mDropped.resize(size());
    if (!mDropped[index]) ++mDroppedCount;
    mDropped[index] = true;
}

void ActionList::compact()
{
    if (mDroppedCount == 0) return;
    ActionList kept;
    each([&](Index, const Action& action) { kept.add(action); });
    *this = std::move(kept);
}

Action ActionList::operator[](Index index) const
{
    const Position position = mPositions[index];
    const char* at = mBlocks[static_cast<std::size_t>(position >> 32)].get() + (position & 0xffffffff);
    Action action;
    const unsigned first = takeByte(at);
    action.verb = static_cast<Action::Verb>(first & 0x0f);
    action.target = first & kToLocalHome ? Peer::Local : Peer::Network;
    action.job = static_cast<std::size_t>(takeNumber(at));
    const std::string& folder = mFolders[static_cast<std::size_t>(takeNumber(at))];
    action.path = joinPath(folder, takeText(at));
    for (const Peer peer : kPeers)
        action.stats[peer] = takeStat(at);
    takeEntry(at, action);
    if (action.verb == Action::Verb::Link) action.from = takeText(at);
    if (action.verb == Action::Verb::Move) {
        action.from = takeText(at);
        action.fromStat = takeStat(at);
    }
    if (first & kSetsAttributes) {
        const unsigned both = takeByte(at);
        action.toLocal = static_cast<AttributeSet>(both & 0x0f);
        action.toNetwork = static_cast<AttributeSet>(both >> 4);
        action.keptOut = static_cast<AttributeSet>(takeByte(at));
    }
    return action;
}

} // namespace braid
