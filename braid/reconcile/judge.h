#pragma once

#include <stop_token>
#include <string>

#include "braid/archive/archive.h"
#include "braid/home/home.h"
#include "decide.h"
#include "read_files.h"

namespace braid
{

/// A folder of both homes, opened only when something in it must be read.
class FolderPair
{
public:
    FolderPair(const PerPeer<Home*>& homes, const PerPeer<std::string>& paths) : mHomes(homes), mPaths(paths) {}

    Outcome<int> on(Peer peer);

private:
    const PerPeer<Home*>& mHomes;
    const PerPeer<std::string>& mPaths;
    PerPeer<Descriptor> mOpened;
};

/// One item of both homes, ready to be decided on.
struct Judgement {
    Facts before;
    PerPeer<Facts> now;
    Entry entry;                    ///< What to record if the sides agree.
    bool stampsMoved = false;       ///< The archive's stamps no longer fit, whether or not anything changed.
    PerPeer<bool> mustRestamp;      ///< An earlier pass did not get to finish this folder.
    std::optional<Problem> problem; ///< Set: the item could not be read; the rest says nothing.
    Peer problemAt = Peer::Local;
};

/// How one pass reads content.
struct Reading {
    bool canWait = true;     ///< What seems to have changed is copied, and copying it shows whether it has.
    PerPeer<ReadFiles> done; ///< Files with several names.
};

/// A stamp for an item that the scan saw in `home` as `stat` says. An item younger than the file system's step could
/// change once more without looking different, so its stamp is not trusted.
Stamp stampFor(const Home& home, const Stat& stat, std::uint64_t attributes);
/// The same for an item that this pass has just written. Its change time is new, so whoever records the stamp must see
/// to it that it is old enough by then (see isYoungChange()).
Stamp stampForWritten(const Home& home, const Stat& stat, std::uint64_t attributes);

/// The kernel's clock for time stamps goes in steps of up to ten milliseconds, a server's in steps of up to sixteen.
inline constexpr std::int64_t kTick = 16'000'000;

/// Seen at the home's time `seenAt`, an item with this change time could change once more and keep it.
bool isYoungChange(std::int64_t ctime, std::int64_t seenAt);
/// As above, and waiting for kTick is all that it takes to be certain: the file system's own step is not the coarser.
bool isFineTime(std::int64_t time);

/// The item is, by its figures, the one that was agreed on, and these figures can be trusted.
bool stillLooksLike(const Stat& stat, const Entry& entry, Peer peer);

/// Compares what both sides hold with what was agreed, reading content only where the figures leave a doubt. `entry`
/// is null where nothing was agreed. `reading` is of this pass, `names` are those in each home.
Judgement judge(const PerPeer<Home*>& homes, FolderPair& folder, const PerPeer<const char*>& names, const Entry* entry,
                const PerPeer<Stat>& stats, Reading& reading, const std::stop_token& stop);

} // namespace braid
