#pragma once

#include <deque>
#include <memory>
#include <string_view>
#include <utility>
#include <vector>

#include "action.h"

namespace braid
{

/// A few million actions in little memory: a new file with a name of 16 bytes takes about 65. Actions come out as they
/// went in, but for the device in their stats, and in the order in which they came; those of one folder should come
/// together.
class ActionList
{
public:
    using Index = std::size_t;

    void add(const Action& action);

    /// How many were added; an index below may have been dropped since.
    Index size() const { return mPositions.size(); }
    /// How many are left.
    std::size_t count() const { return mPositions.size() - mDroppedCount; }
    bool empty() const { return count() == 0; }

    Action operator[](Index index) const;
    bool isDropped(Index index) const { return index < mDropped.size() && mDropped[index]; }
    void drop(Index index);
    void replace(Index index, const Action& action);
    /// Gives back the memory of what was dropped; those that are left get other indices.
    void compact();

    /// Visits those that are left with their index, in order. They may be dropped or replaced on the way.
    template <class Visit>
    void each(Visit visit) const
    {
        for (Index index = 0; index < size(); ++index) {
            if (!isDropped(index)) visit(index, (*this)[index]);
        }
    }

private:
    using Position = std::uint64_t;

    Position write(const Action& action);
    std::uint64_t folderNumber(std::string_view folder);
    std::uint64_t ownersNumber(const Stat& stat);
    void addStat(const Stat& stat);
    Stat takeStat(const char*& at) const;
    void addEntry(const Action& action);
    void takeEntry(const char*& at, Action& action) const;

    std::deque<Position> mPositions; // a deque: growing a vector takes up to three times the memory for a moment
    std::vector<bool> mDropped;
    std::size_t mDroppedCount = 0;

    std::vector<std::unique_ptr<char[]>> mBlocks;
    std::size_t mUsed = 0; // of the last block
    std::string mScratch;
    std::deque<std::string> mFolders;
    std::vector<std::pair<std::uint32_t, std::uint32_t>> mOwners; // owner and group, each pair once
};

} // namespace braid
