#pragma once

#include <array>
#include <deque>
#include <functional>
#include <optional>
#include <set>
#include <string>
#include <string_view>
#include <vector>

#include "action_list.h"

namespace braid
{

/// What becomes of a folder's time and mode once everything inside is done.
struct FolderFinish {
    std::string path;
    std::size_t job = 0;
    PerPeer<Stat> stats;
    PerPeer<std::int64_t> mtime; ///< Wanted.
    std::optional<Peer> created; ///< The side on which this pass makes it.
    PerPeer<bool> restamped;     ///< An action of this pass writes its attributes there.
    bool isRecorded = true;      ///< False: something about the folder was kept out, so nothing is agreed yet.
    Entry entry;
};

/// A name of one item that the homes and the archive spell in several ways, where a home takes these for the same.
struct Respelling {
    std::string path; ///< Afterwards, everywhere.
    std::size_t job = 0;
    std::optional<Peer> target; ///< The home where the item is renamed; nothing: only the archive learns of it.
    std::string from;           ///< The item's name in the target up to now.
    Stat stat;                  ///< Of the item in the target.
    std::string agreedAs;       ///< The name that the archive knows it by up to now; "" where it knows it by none.
};

using PathSet = std::set<std::string, std::less<>>;

/// `path` is one of the paths or lies below one.
bool liesIn(const PathSet& paths, std::string_view path);

/// Everything that one pass will do. Parents come before what they hold, and what lies in one folder comes together;
/// deletions come the other way round.
struct Plan {
    std::vector<Respelling> respellings; ///< To be done first: all other paths are those of afterwards.
    ActionList makeRoom;                 ///< Deletions inside folders that a file or link takes the place of.
    ActionList folders;                  ///< To make.
    ActionList items;                    ///< Copies and moves.
    ActionList restamps;
    ActionList links; ///< After all that the files may be linked to.
    ActionList deletions;
    ActionList records;
    std::vector<std::string> forgets;
    std::deque<FolderFinish> finishes; ///< Of folders on both sides; those in `folders` are finished too.

    std::vector<ConflictRecord> conflicts;
    std::vector<ItemError> errors;
    std::vector<std::string> skipped;
    std::set<std::string> unseen;     ///< What could not be looked at: nothing is known of it and what lies below.
    bool hasWithdrawnForgets = false; ///< The archive keeps entries that it was to forget.
    std::vector<JobEnd> jobEnds;      ///< One per job.
    std::optional<Problem> lostHome;  ///< A home's top could not be listed: there is nothing to plan with.

    /// How many actions change a home.
    std::size_t count() const
    {
        return makeRoom.count() + folders.count() + items.count() + restamps.count() + links.count() +
               deletions.count() + countRenamed();
    }
    std::size_t countRenamed() const;

    /// All that change a home, and the records.
    std::array<ActionList*, 7> lists()
    {
        return {&makeRoom, &folders, &items, &restamps, &links, &deletions, &records};
    }

    /// Nothing is to be done to the items at these paths and to what lies below. Files that were to be moved from there
    /// are copied instead; those that were to be moved there stay, as errors. Goes through everything once.
    void withdraw(const PathSet& paths);
};

} // namespace braid
