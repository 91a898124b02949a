#pragma once

#include <string>
#include <vector>

#include "braid/home/trash.h"
#include "stager.h"

namespace braid
{

/// Puts things in place, each in one step that a killed process cannot leave half done, and only where the disk still
/// looks as the scan saw it. What is replaced or deleted goes to the trash. Each answers 0 or an errno value; EAGAIN
/// says that somebody changed the item since the scan.
class Placer
{
public:
    explicit Placer(Workbench& bench) : mBench(bench) {}

    int place(Staged& staged);
    int move(const Action& action);
    /// After EACCES or EPERM: it is only the old name that the permissions hold fast.
    bool canCopyInsteadOfMove(const Action& action);
    int makeFolder(const Action& action);
    int remove(const Action& action);
    int restamp(const Action& action);
    /// Gives the source of a Copy those attributes that only the target has, which the copy then has, too.
    int takeAttributes(Action& action);
    /// The content was found to be on both sides already; what is left are the attributes.
    int restampTouched(const Staged& staged);

    /// What the target of a Copy is known to hold, if that makes copying it cheaper; null else.
    std::shared_ptr<const ContentDigest> knownContent(const Action& action);

    /// Sets a folder's final mode and time. `finish.entry` is complete afterwards.
    int finishFolder(FolderFinish& finish);

private:
    struct TrashedJournal {
        std::string name;
        Trash::Kept kept;
    };

    int putNew(const Staged& staged, int folder, const char* name);
    int putOver(const Staged& staged, int folder, const char* name);
    int swapIn(const Staged& staged, int folder, const char* name, const Stat& seen);
    int putOverWithoutExchange(const Staged& staged, int folder, const char* name, const Stat& seen);
    int keepInTrash(Peer peer, int folder, const char* name, const std::string& path, const Stat& seen,
                    Trash::Kept* kept = nullptr);
    int trashJournals(const Action& action, int folder, std::vector<TrashedJournal>& trashed);
    template <class Step>
    int withoutJournals(const Action& action, int folder, const Stat& seen, Step step);
    int checkSourceStillGone(const Action& action);
    int markUnfinished(const std::string& path, Peer peer);
    int restampOne(const Action& action, Peer target, AttributeSet attributes);

    Workbench& mBench;
};

} // namespace braid
