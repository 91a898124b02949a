#pragma once

#include <optional>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "braid/archive/archive.h"
#include "decide.h"

namespace braid
{

/// One thing to do to one home.
struct Action {
    enum class Verb : std::uint8_t {
        MakeFolder,
        Copy, ///< A file or link, new or in place of what lies there.
        Move, ///< `from` lies on the target under its old path, unchanged.
        Restamp,
        Delete,
    };

    Verb verb = Verb::Copy;
    Peer target = Peer::Network; ///< Not for Restamp, which may write both.
    std::size_t job = 0;
    std::string path;
    std::string from;    ///< Move only.
    PerPeer<Stat> stats; ///< What the scan saw; the disk must still look so when the action is done.
    Stat fromStat;       ///< Move only: the item at `from`.
    AttributeSet toLocal = 0;
    AttributeSet toNetwork = 0;
    bool isRecorded = true; ///< False: something about the item was kept out, so nothing is agreed yet.
    Entry entry;            ///< What is to be agreed on; for Delete what was.
};

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

/// Everything that one pass will do.
struct Plan {
    std::vector<Action> actions;
    std::vector<std::pair<std::string, Entry>> records;
    std::vector<std::string> forgets;
    std::vector<FolderFinish> folders;
    std::vector<ConflictRecord> conflicts;
    std::vector<ItemError> errors;
    std::vector<std::string> skipped;
    std::set<std::string> unseen;    ///< Folders that could not be listed: nothing is known of what lies below.
    std::vector<JobEnd> jobEnds;     ///< One per job.
    std::optional<Problem> lostHome; ///< A home's top could not be listed: there is nothing to plan with.
};

/// Puts the plan in the order in which it is carried out: parents before what they hold, deletions backwards.
struct OrderedPlan {
    std::vector<Action> makeRoom; ///< Deletions inside folders that a file or link takes the place of.
    std::vector<Action> folders;
    std::vector<Action> items; ///< Moves, copies.
    std::vector<Action> restamps;
    std::vector<Action> deletions;
};

} // namespace braid
