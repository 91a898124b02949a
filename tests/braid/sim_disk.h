#pragma once

#include <sys/types.h>

#include <cstdint>
#include <functional>
#include <map>
#include <optional>
#include <random>
#include <string>
#include <vector>

#include "braid/text/folding.h"

namespace braid::sim
{

/// What a file system can do, and what it does to names and times.
struct DiskTraits {
    std::int64_t timeStep = 1; ///< Nanoseconds.
    bool keepsModes = true;
    bool keepsAttributes = true;
    bool isInUserSpace = false; ///< Follows links to set their times, and says that it keeps access lists.
    bool exchanges = true;
    bool renamesNew = true; ///< Knows a rename that replaces nothing.
    bool hardLinks = true;
    bool copiesRanges = true;
    bool flushesAsAWhole = true;
    text::NameFolding folding;
    bool decomposes = false; ///< Stores names in a form of its own.
    bool foldsNames() const { return folding.folds(); }
    bool respells = true; ///< A rename from one spelling to another does that, instead of nothing.
    std::uint64_t capacity = std::uint64_t{1} << 30;
    bool tellsRoom = true;      ///< Not of a user's quota, which the disk's own figures know nothing of.
    std::int64_t clockSkew = 0; ///< Against the computer's clock.
};

struct Item {
    mode_t mode = 0; ///< With its kind.
    uid_t owner = 0;
    gid_t group = 0;
    std::int64_t mtime = 0;
    std::int64_t ctime = 0;
    std::map<std::string, std::string> attributes;
};

struct Node {
    Item item;
    std::string data;                      ///< A file's content, a link's target.
    std::optional<std::string> syncedData; ///< Where it is not `data`: what a power failure may leave.
    std::map<std::string, std::uint64_t> entries;
    int links = 0;
    int opens = 0;
    std::uint64_t setAside = 0; ///< Bytes from its beginning on that it has room for already.
};

/// A file system in memory that knows what would survive a power failure. Names, attributes and links change in the
/// order in which they were made, like in a journal: a failure cuts that order off somewhere after the last flush.
/// Content that was not flushed survives, or not, or in part, whatever became of the names.
class Disk
{
public:
    explicit Disk(DiskTraits traits, std::uint64_t device);

    const DiskTraits& traits() const { return mTraits; }
    std::uint64_t device() const { return mDevice; }
    static constexpr std::uint64_t kTop = 2;

    Node& node(std::uint64_t inode) { return mNodes.at(inode); }
    /// Null where the folder has no such name.
    const std::uint64_t* find(std::uint64_t folder, const std::string& name) const;
    bool folds() const { return mTraits.foldsNames(); }

    /// The clock's time as this disk writes it down.
    std::int64_t stamp(std::int64_t now) const;

    std::uint64_t make(mode_t mode, std::int64_t now);
    void setEntry(std::uint64_t folder, const std::string& name, std::uint64_t inode, std::int64_t now);
    void removeEntry(std::uint64_t folder, const std::string& name, std::int64_t now);
    /// Remembers the item as it is for the case that a failure takes the next change back.
    Item& change(std::uint64_t inode);
    /// What `changes` does to names survives together or not at all. Answers 0.
    int together(const std::function<void()>& changes);
    void write(std::uint64_t inode, std::size_t offset, const std::string& bytes, std::int64_t now);
    void truncate(std::uint64_t inode, std::size_t size, std::int64_t now);
    std::uint64_t freeRoom() const;
    bool hasRoomFor(std::uint64_t bytes) const { return freeRoom() >= bytes; }

    void flush(std::uint64_t inode);
    void flushAll();
    /// What a power failure leaves.
    void cutPower(std::mt19937_64& random);
    void closed(std::uint64_t inode);
    void closeAll();

    /// The whole state, as a backup keeps it.
    std::map<std::uint64_t, Node> nodes() const { return mNodes; }
    void restore(std::map<std::uint64_t, Node> nodes)
    {
        mNodes = std::move(nodes);
        mUndo.clear(); // what it would take back is no more
    }

private:
    std::string key(std::string_view name) const;
    /// The name as the folder has it, or would have it.
    std::string stored(std::uint64_t folder, const std::string& name) const;
    void link(std::uint64_t folder, const std::string& name, std::optional<std::uint64_t> inode);
    void replaceEntry(std::uint64_t folder, const std::string& name, std::optional<std::uint64_t> inode,
                      std::int64_t now);
    void touch(Item& item, std::int64_t now) const;
    void keepSynced(Node& node);
    void forgetUnused();

    DiskTraits mTraits;
    std::uint64_t mDevice;
    std::uint64_t mLast = kTop;
    std::map<std::uint64_t, Node> mNodes;
    std::vector<std::function<void()>> mUndo; ///< For each change of names and attributes since the last flush.
};

} // namespace braid::sim
