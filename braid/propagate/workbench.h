#pragma once

#include <future>
#include <set>
#include <string>

#include "braid/archive/archive.h"
#include "braid/home/home.h"
#include "braid/home/trash.h"
#include "braid/jobs/coverage.h"
#include "braid/pass/reporter.h"
#include "braid/reconcile/plan.h"
#include "own_moves.h"

namespace braid
{

/// The folder that was asked for last, held open: most items lie beside the one before.
class OpenFolder
{
public:
    Outcome<int> in(const Home& home, std::string_view path);

private:
    std::string mPath;
    Descriptor mDescriptor;
};

/// What carrying out a plan works with, and what it leaves behind for the report and the archive.
class Workbench
{
public:
    Workbench(const PerPeer<Home*>& homes, Archive& archive, const Coverage& coverage, Reporter& reporter,
              std::stop_token stop, Plan& plan);

    const PerPeer<Home*>& homes;
    Archive& archive;
    const Coverage& coverage;
    Reporter& reporter;
    std::stop_token stop;
    Plan& plan;
    PerPeer<Trash> trash;
    Counts counts;
    PerPeer<std::set<std::string>> disturbed; ///< Folders whose entries this pass changed.
    PerPeer<OwnMoves> ownMoves;

    /// What the scan saw, as this pass left it where it was at another name of the same file.
    Stat asLeft(Peer peer, Stat seen) const
    {
        if (seen.linked) seen.ctime = ownMoves[peer].now(seen.inode, seen.ctime);
        return seen;
    }

    /// The folder, held open until another one of the same side is asked for.
    Outcome<int> folder(Peer peer, std::string_view path);
    /// The same; what is missing of it is made like the other side's.
    Outcome<int> ensureFolder(Peer peer, std::string_view path);

    /// The entries of `folder` change; they must be made durable before the archive learns of it.
    void touch(Peer peer, std::string_view folder);
    /// An item in `folder` changes, but the folder itself does not.
    void touchItemIn(Peer peer, std::string_view folder);

    /// What the archive is to learn once the disk holds it. `written` are the sides whose stamp tells of this pass's
    /// own work, see stampForWritten().
    void recordLater(const std::string& path, const Entry& entry, PerPeer<bool> written = {});
    /// Besides, where the file is large enough for it to be worth while.
    void recordBlocksLater(const std::string& path, ContentDigest content);
    void forgetLater(const std::string& path);

    /// Makes everything on the disks durable that was written so far, then tells the archive what it may know. After
    /// a problem the archive still holds the state before. What was written so lately that a change now could go
    /// unnoticed for ever is kept back until the next time.
    std::optional<Problem> settle();
    /// The same, and nothing is kept back: waits a moment if need be.
    std::optional<Problem> settleAll();
    /// As settle(), but leaves the flush to run on its own: when this returns, what was written before the last such
    /// call is durable and told.
    std::optional<Problem> settleBehind();
    bool hasMuchToSettle() const;
    /// Tells the archive, which knows all of this pass, what the pass did to the change times of other names.
    std::optional<Problem> tellOwnMoves();

    void fail(const std::string& path, Peer peer, const Problem& problem);
    /// `code` is what a file server that is gone answers, and it is gone: a server may answer so for one file, too.
    bool isLost(int code);
    bool isStopped() const { return stop.stop_requested(); }

private:
    struct Record {
        std::string path;
        Entry entry;
        PerPeer<bool> written;
    };

    /// What the archive will be told together.
    struct News {
        std::vector<Record> records;
        std::vector<std::pair<std::string, ContentDigest>> blocks;
        std::vector<std::string> forgets;
        bool isEmpty() const { return records.empty() && blocks.empty() && forgets.empty(); }
    };

    std::optional<Problem> makeDurable(const PerPeer<std::set<std::string>>& folders) const;
    static void dropSuperseded(std::vector<Record>& records);
    void keepBackYoung(std::vector<Record>& records);
    bool isYoung(const Record& record, const PerPeer<std::optional<std::int64_t>>& clocks) const;
    void checkAttributes(Record& record);
    void startFlush();
    std::optional<Problem> finishFlush();
    News ripe(News news);
    void tell(const News& news);

    PerPeer<OpenFolder> mCached;
    PerPeer<std::set<std::string>> mUnsynced;
    News mNews;
    std::size_t mKeptBack = 0;                  // of its records, by the last settling
    News mSettling;                             ///< What the flush under way is for.
    std::future<std::optional<Problem>> mFlush; ///< On a thread of its own, or when it is waited for.
    std::optional<Problem> mNotDurable;         ///< For good: a disk tells once of what it could not write.
    int mOddAnswers = 0;                        ///< Of servers that were not gone.
};

} // namespace braid
