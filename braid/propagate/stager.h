#pragma once

#include <memory>

#include "braid/disk/extended.h"
#include "workbench.h"

namespace braid
{

/// A complete copy in the staging folder of its target's home, waiting to be put in place.
struct Staged {
    const Action* action = nullptr;
    std::string name; ///< In the staging folder.
    Stat stat;        ///< Of the copy.
    Entry entry;      ///< What is to be agreed on, but for the target's stamp.
    std::uint64_t bytes = 0;
};

/// Makes copies. A name in the staging folder tells what a killed pass left there: "new-…" is a copy that was never
/// put in place; "old-<inode>" is such a copy if it has that inode, else the version that a copy was swapped with.
class Stager
{
public:
    explicit Stager(Workbench& bench) : mBench(bench) {}

    /// Copies the item of a Copy action with all its attributes. EAGAIN: it did not hold still.
    Outcome<Staged> stage(const Action& action);
    void discard(const Staged& staged);

    /// Clears what a killed pass left behind: copies go, versions of a person's file go to the trash.
    static std::optional<Problem> recover(Home& home, Trash& trash);

private:
    Outcome<Staged> stageFile(const Action& action, int sourceFolder, const Stat& source);
    Outcome<Staged> stageLink(const Action& action, int sourceFolder, const Stat& source);
    int finish(Staged& staged, const Stat& source, const extended::Copied& attributes);

    Workbench& mBench;
    std::uint64_t mSerial = 0;
};

} // namespace braid
