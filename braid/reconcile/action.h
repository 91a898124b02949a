#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>

#include "braid/archive/archive.h"
#include "braid/disk/content.h"
#include "decide.h"

namespace braid
{

/// One thing to do to one home.
struct Action {
    enum class Verb : std::uint8_t {
        MakeFolder,
        Copy, ///< A file or link, new or in place of what lies there.
        Move, ///< `from` lies on the target under its old path, unchanged.
        Link, ///< A file that the target has under its name `from` already, which becomes one file with it there, too.
        Restamp,
        Delete,
        Record, ///< Nothing on the disks: only the archive has to learn it.
    };

    Verb verb = Verb::Copy;
    Peer target = Peer::Network; ///< Not for Restamp, which may write both, and for Record.
    std::size_t job = 0;
    std::string path;
    std::string from;         ///< Move and Link only.
    PerPeer<Stat> stats;      ///< What the scan saw; the disk must still look so when the action is done.
    Stat fromStat;            ///< Move only: the item at `from`.
    AttributeSet toLocal = 0; ///< Restamp; and Copy, of what the source takes from the target before.
    AttributeSet toNetwork = 0;
    AttributeSet keptOut = 0; ///< Restamp only: what was agreed on these is still what is agreed.
    Entry entry;              ///< What is to be agreed on; for Delete what was.
    /// Copy of a file: what the target is known to hold, where that can save copying. Not kept by an ActionList.
    std::shared_ptr<const ContentDigest> known;
};

} // namespace braid
