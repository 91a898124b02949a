#pragma once

#include <memory>

#include "braid/disk/content.h"
#include "braid/disk/extended.h"
#include "workbench.h"

namespace braid
{

/// A complete copy in its target's home, waiting to be put in place.
struct Staged {
    const Action* action = nullptr;
    std::string name; ///< In the staging folder, or "".
    Descriptor file;  ///< Where the copy has no name: goes with this.
    Stat stat;        ///< Of the copy.
    Entry entry;      ///< What is to be agreed on, but for the target's stamp.
    ContentDigest content;
    bool isDatabase = false;     ///< An SQLite database.
    bool isContentThere = false; ///< There is no copy: the target's content is the same already.
    std::uint64_t bytes = 0;
};

/// Makes copies. Those of new files have no name if their disk can do that: then they take half the time to make and to
/// put in place, and a killed pass leaves none behind. The others lie in the staging folder, where their name tells
/// what a killed pass left: "new-…" is a copy that was never put in place; "old-<inode>" is such a copy if it has that
/// inode, else the version that a copy was swapped with.
class Stager
{
public:
    /// For one thread. `mark` tells its copies from those of others; `count` hears of bytes as they are copied.
    Stager(const Workbench& bench, std::string mark, ByteCounter count)
        : mBench(bench), mMark(std::move(mark)), mCount(std::move(count))
    {
    }

    /// Copies the item of a Copy action with all its attributes. EAGAIN: it did not hold still. A copy that may stay
    /// open needs no name.
    Outcome<Staged> stage(const Action& action, bool mayStayOpen);
    void discard(const Staged& staged) const;

    /// The name of a file that will be swapped with an older version.
    static std::string swapName(std::uint64_t inode) { return "old-" + std::to_string(inode); }

    /// Clears what a killed pass left behind: copies go, versions of a person's file go to the trash.
    static std::optional<Problem> recover(Home& home, Trash& trash);

private:
    Outcome<Staged> stageFile(const Action& action, int sourceFolder, const Stat& source, bool mayStayOpen);
    Outcome<Staged> stageLink(const Action& action, int sourceFolder, const Stat& source);
    Outcome<Descriptor> createCopy(const Action& action, std::uint16_t mode, bool mayStayOpen, Staged& staged);
    Outcome<Staged> unchangedContent(Staged staged, const Descriptor& file, const Stat& source) const;
    Outcome<ContentDigest> bringContent(const Action& action, const Descriptor& source, const Stat& stat,
                                        const Descriptor& copy, const ContentDigest* seen, Staged& staged);
    int completeDatabase(const Action& action, int sourceFolder, const Stat& source, const Descriptor& copy,
                         ContentDigest& content);
    bool beginWithOldVersion(const Action& action, const Descriptor& copy);
    static Outcome<Stat> stampFile(int copy, const Stat& source);
    static int stampLink(int folder, const char* name, const Stat& source);
    int finish(Staged& staged, const Stat& copy, const Stat& source, const extended::Copied& attributes);
    std::string newName() { return "new-" + mMark + std::to_string(++mSerial); }

    const Workbench& mBench;
    std::string mMark;
    ByteCounter mCount;
    std::uint64_t mSerial = 0;
    PerPeer<OpenFolder> mFolders;
    PerPeer<bool> mNamesAll; ///< That disk has no files without a name.
};

} // namespace braid
