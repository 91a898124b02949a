#pragma once

#include <array>
#include <filesystem>
#include <functional>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <unordered_set>
#include <vector>

#include "braid/disk/facts.h"
#include "braid/peers.h"
#include "database.h"

namespace braid
{

/// How an agreed item looked on one side. A side that still looks like this holds what was agreed.
struct Stamp {
    std::uint64_t inode = 0;
    std::int64_t ctime = 0; ///< 0: do not trust the other figures, read the item again.
    std::int64_t mtime = 0;
    std::uint16_t mode = 0;
    std::uint64_t attributes = 0; ///< extended::hashOf()
};

/// The last state of an item that both sides agreed on.
struct Entry {
    Kind kind = Kind::Absent;
    std::int64_t size = 0;
    std::optional<Digest> digest; ///< Of a file's content where it was read, of a link's target always.
    PerPeer<Stamp> stamps;
    /// The engine was about to bring this side to the agreed state when the entry was written: the side may still
    /// look like its stamp, or lack the item, without anybody having changed anything there.
    PerPeer<bool> unfinished;
};

struct NamedEntry {
    std::string name;
    Entry entry;
};

/// Both homes as the archive last saw them.
struct PairRecord {
    std::int64_t number = 0;           ///< 0: the archive does not know this pair.
    PerPeer<std::uint64_t> generation; ///< Of the markers, at the end of the last pass that wrote.
};

/// A pair as the archive knows it without seeing the homes.
struct KnownPair {
    PerPeer<std::string> ids;
    std::string networkHome;   ///< Where the last pass reached it; "" where that is not known.
    std::int64_t lastPass = 0; ///< Seconds since 1970.
};

/// What is kept of a conflict besides its path and kind.
struct ConflictRecord {
    Conflict conflict;
    PerPeer<Stat> stats;
};

/// The third opinion in every merge, for one pair of homes. Use it from the thread that opened it. Failures stick;
/// ask failure() before relying on what was read or written.
class Archive
{
public:
    /// Opens the archive, and makes it where `mayWrite`. Without a file and without that right: an empty archive that
    /// forgets everything. A damaged file is set aside under another name, unless the damage shows only in its tables;
    /// then isDamaged() tells.
    static Outcome<std::unique_ptr<Archive>> open(const std::string& markerFolder, bool mayWrite);
    /// The same after damage that showed only while reading: the file is set aside, where `mayWrite`, and a new one
    /// begun.
    static Outcome<std::unique_ptr<Archive>> openAfresh(const std::string& markerFolder, bool mayWrite);

    /// Opens the archive of the local home to read in it, also while a pass writes; null where there is none, or none
    /// that can be read.
    static std::unique_ptr<Archive> openForQuestions(const std::filesystem::path& localHome);

    /// Turns to one pair. Until then nothing below may be asked.
    PairRecord usePair(const std::string& localId, const std::string& networkId);
    void rememberGenerations(const PerPeer<std::uint64_t>& generations);
    /// Forgets all entries of the pair.
    void clearEntries();

    std::vector<NamedEntry> children(std::string_view folder);
    std::optional<Entry> find(std::string_view path);
    /// The digests of the blocks of a large file whose content comes down to `whole`; empty where they are not known.
    std::vector<Digest> blocks(std::string_view path, const Digest& whole);
    /// The files that had one of these inodes when both sides agreed on them, by their whole path. Reads everything.
    std::vector<NamedEntry> filesOf(const PerPeer<std::unordered_set<std::uint64_t>>& inodes);
    std::uint64_t countEntries();

    /// Between the two the archive is only read; that spares a lock for every folder.
    void beginReading();
    void endReading();

    /// Everything between becomes durable together, or not at all.
    void begin();
    void commit();
    /// The same without waiting for the disk: durable with the next commit() at the latest. A power failure before that
    /// takes it back.
    void beginLazily();
    void commitLazily();

    void record(std::string_view path, const Entry& entry);
    void recordBlocks(std::string_view path, const Digest& whole, std::span<const Digest> blocks);
    void forget(std::string_view path);
    /// The item and all below it are known by another name of the same folder from now on.
    void rename(std::string_view from, std::string_view to);
    /// Notes in the entry, if there is one, that this side is about to be brought to another state.
    void markUnfinished(std::string_view path, Peer peer);

    /// Gives every stamp of a file on this side that is trusted the ctime that `now` answers. Reads everything.
    using ChangeTime = std::function<std::int64_t(std::uint64_t inode, std::int64_t ctime)>;
    void replaceChangeTimes(Peer peer, const ChangeTime& now);

    /// The unresolved matters of the pair. `isStale` tells which of the old ones this pass looked at again.
    void replaceMatters(const std::function<bool(std::string_view path)>& isStale,
                        const std::vector<ConflictRecord>& conflicts, const std::vector<ItemError>& errors);
    OpenMatters matters();

    /// Turns to the pair that was used last; nothing where there is none.
    std::optional<KnownPair> useLastPair();
    /// Notes that a pass of this pair reached the network home there.
    void rememberNetworkHome(const std::string& path);

    /// What the last pass on such an occasion noted of its jobs (see jobs/areas.h), or, where there was none, the last
    /// one on another; nothing before the first pass of all. A pass without jobs has noted "".
    std::optional<std::string> lastAreas(Occasion occasion);
    void rememberAreas(Occasion occasion, const std::string& areas);

    std::optional<Problem> failure() const { return mDatabase->failure(); }
    bool isDamaged() const { return mDatabase->isDamaged(); }

private:
    explicit Archive(std::unique_ptr<Database> database);
    static Outcome<std::unique_ptr<Archive>> prepared(Outcome<std::unique_ptr<Database>> database);
    void prepareStatements();

    std::unique_ptr<Database> mDatabase;
    std::int64_t mPair = 0;
    Statement mChildren;
    Statement mFind;
    Statement mMarkUnfinished;
    Statement mBlocks;
    Statement mRecord;
    Statement mForget;
    Statement mForgetBlocks;
};

} // namespace braid
