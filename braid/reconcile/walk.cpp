#include "walk.h"

#include <algorithm>
#include <cerrno>
#include <deque>

#include "judge.h"
#include "subtree.h"

namespace braid
{

namespace
{

constexpr std::size_t kReadAhead = 64; // folders whose listings are asked for before they are needed

struct Task {
    std::string path;
    Coverage::State cover;
    PerPeer<bool> present;
    PerPeer<PendingListing> listings;
    bool isRequested = false;
    std::optional<FolderFinish> finish; ///< Not for the top and for folders that belong to no job.
    bool timeChanged = false;
};

/// One name in a folder, with what each of the three opinions holds under it.
struct Row {
    const std::string& name;
    const Entry* entry = nullptr;
    PerPeer<const Listing::Item*> items;
};

/// Calls `visit` for each name in the three sorted lists, in order.
template <class Visit>
void mergeNames(const std::vector<NamedEntry>& entries, const PerPeer<Listing>& listings, Visit visit)
{
    std::size_t e = 0;
    PerPeer<std::size_t> at;
    while (true) {
        const std::string* least = e < entries.size() ? &entries[e].name : nullptr;
        for (const Peer peer : kPeers) {
            const auto& items = listings[peer].items;
            if (at[peer] < items.size() && (!least || items[at[peer]].name < *least)) least = &items[at[peer]].name;
        }
        if (!least) return;
        Row row{*least, nullptr, {}};
        if (e < entries.size() && entries[e].name == *least) row.entry = &entries[e++].entry;
        for (const Peer peer : kPeers) {
            const auto& items = listings[peer].items;
            if (at[peer] < items.size() && items[at[peer]].name == *least) row.items[peer] = &items[at[peer]++];
        }
        visit(row);
    }
}

class Walk
{
public:
    explicit Walk(const WalkContext& context) : mContext(context) { mPlan.jobEnds.resize(context.coverage.count()); }

    Plan run();

private:
    void readAhead();
    Task takeNext();
    void mergeFolder(Task& task);
    void mergeItem(const Task& task, FolderPair& folder, const Row& row);
    bool passesBy(const Task& task, const std::string& path, const Row& row, const PerPeer<Stat>& stats);
    void planFolder(const std::string& path, const Coverage::State& cover, const PerPeer<Stat>& stats,
                    std::optional<FolderFinish> finish, bool timeChanged);
    void planBothFolders(const std::string& path, const Coverage::State& cover, std::size_t job,
                         const PerPeer<Stat>& stats, const Judgement& judgement, const Decision& decision,
                         const Entry* entry);
    void planItem(const std::string& path, std::size_t job, const PerPeer<Stat>& stats, const Judgement& judgement,
                  const Decision& decision, const Entry* entry);
    void record(Action& action);

    const WalkContext& mContext;
    Plan mPlan;
    std::deque<Task> mTasks; // the back is next
};

void Walk::readAhead()
{
    // The next one last, since the pool begins with what it is asked for last.
    const std::size_t first = mTasks.size() - std::min(mTasks.size(), kReadAhead);
    for (std::size_t at = first; at < mTasks.size(); ++at) {
        Task& task = mTasks[at];
        if (task.isRequested) continue;
        task.isRequested = true;
        for (const Peer peer : kPeers) {
            if (task.present[peer]) task.listings[peer] = mContext.list(peer, task.path);
        }
    }
}

/// The last one, so that the tree is gone through branch by branch; but while its listings are under way any that is
/// there already: where answers take long, the branches must not wait for each other.
Task Walk::takeNext()
{
    const std::size_t first = mTasks.size() - std::min(mTasks.size(), kReadAhead);
    std::size_t at = mTasks.size() - 1;
    for (std::size_t candidate = mTasks.size(); candidate-- > first;) {
        const Task& task = mTasks[candidate];
        if (!std::ranges::all_of(kPeers,
                                 [&](Peer peer) { return !task.present[peer] || task.listings[peer].isReady(); }))
            continue;
        at = candidate;
        break;
    }
    Task task = std::move(mTasks[at]);
    mTasks.erase(mTasks.begin() + static_cast<std::ptrdiff_t>(at));
    return task;
}

Plan Walk::run()
{
    Task top;
    top.cover = mContext.coverage.top();
    top.present = {true, true};
    mTasks.push_back(std::move(top));
    while (!mTasks.empty() && !mContext.stop.stop_requested()) {
        readAhead();
        Task task = takeNext();
        mContext.onFolder(task.path);
        mergeFolder(task);
    }
    return std::move(mPlan);
}

void Walk::mergeFolder(Task& task)
{
    PerPeer<Listing> listings;
    for (const Peer peer : kPeers) {
        if (task.present[peer]) listings[peer] = task.listings[peer].get();
    }
    for (const Peer peer : kPeers) {
        if (!listings[peer].problem) continue;
        if (task.path.empty()) mPlan.lostHome = listings[peer].problem;
        // What cannot be seen is not gone: nothing below is touched on either side.
        addError(mPlan, task.path, peer, *listings[peer].problem);
        mPlan.unseen.insert(task.path);
        return;
    }
    const std::vector<NamedEntry> entries = mContext.agreedIn(task.path);
    FolderPair folder{mContext.homes, task.path};
    const std::size_t actionsBefore = mPlan.count();
    mergeNames(entries, listings, [&](const Row& row) {
        if (!mContext.stop.stop_requested()) mergeItem(task, folder, row);
    });
    const bool isDisturbed = mPlan.count() != actionsBefore;
    if (task.finish && (isDisturbed || task.timeChanged)) mPlan.finishes.push_back(std::move(*task.finish));
}

/// What the engine leaves alone whatever the job says. True: go on with the next item.
bool Walk::passesBy(const Task& task, const std::string& path, const Row& row, const PerPeer<Stat>& stats)
{
    for (const Peer peer : kPeers) {
        if (!row.items[peer]) continue;
        if (row.items[peer]->error != 0) {
            if (Coverage::leadsSomewhere(mContext.coverage.below(task.cover, path))) {
                addError(mPlan, path, peer, {row.items[peer]->error, "look at it", path});
                mPlan.unseen.insert(path);
            }
            return true;
        }
        if (stats[peer].kind == Kind::Other || mContext.homes[otherPeer(peer)]->isTop(stats[peer])) {
            if (mContext.coverage.jobOfItem(task.cover, path)) mPlan.skipped.push_back(path);
            return true;
        }
    }
    return false;
}

void Walk::mergeItem(const Task& task, FolderPair& folder, const Row& row)
{
    const std::string path = joinPath(task.path, row.name);
    PerPeer<Stat> stats;
    for (const Peer peer : kPeers) {
        if (row.items[peer]) stats[peer] = row.items[peer]->stat;
    }
    if (passesBy(task, path, row, stats)) return;

    const bool holdsItems = stats.local.kind == Kind::Folder || stats.network.kind == Kind::Folder ||
                            (row.entry && row.entry->kind == Kind::Folder);
    Coverage::State cover;
    std::optional<std::size_t> job;
    if (holdsItems) {
        cover = mContext.coverage.below(task.cover, path);
        job = Coverage::jobOf(cover);
        if (!Coverage::leadsSomewhere(cover)) return;
    } else {
        job = mContext.coverage.jobOfItem(task.cover, path);
    }
    if (!job) {
        // A folder above included ones: only a way down, unless a file or link blocks it on one side.
        if (holdsItems) planFolder(path, cover, stats, std::nullopt, false);
        return;
    }

    const Entry* const entry = mContext.trusted(row.entry, path, stats);
    if (row.entry && !entry) mPlan.forgets.push_back(path);
    const Judgement judgement = judge(mContext.homes, folder, row.name, entry, stats, mContext.reading, mContext.stop);
    if (judgement.problem) {
        if (mContext.stop.stop_requested()) return;
        addError(mPlan, path, judgement.problemAt, *judgement.problem);
        if (holdsItems) mPlan.unseen.insert(path);
        return;
    }
    const Decision decision =
        decide(judgement.before, judgement.now.local, judgement.now.network, mContext.coverage.job(*job).options);
    const bool bothFolders = stats.local.kind == Kind::Folder && stats.network.kind == Kind::Folder;
    if (bothFolders) {
        planBothFolders(path, cover, *job, stats, judgement, decision, entry);
    } else if (stats.local.kind == Kind::Folder || stats.network.kind == Kind::Folder) {
        const Peer side = stats.local.kind == Kind::Folder ? Peer::Local : Peer::Network;
        const bool wasAgreed = judgement.before.exists();
        planOneSidedFolder(mContext, mPlan, {path, cover, *job, side, stats, wasAgreed, decision, judgement.entry});
    } else {
        planItem(path, *job, stats, judgement, decision, entry);
        if (row.entry && row.entry->kind == Kind::Folder) {
            planFolder(path, cover, {}, std::nullopt, false); // forget what the folder held
        }
    }
}

void Walk::planFolder(const std::string& path, const Coverage::State& cover, const PerPeer<Stat>& stats,
                      std::optional<FolderFinish> finish, bool timeChanged)
{
    Task task;
    task.path = path;
    task.cover = cover;
    for (const Peer peer : kPeers) {
        task.present[peer] = stats[peer].kind == Kind::Folder;
        if (stats[peer].exists() && !task.present[peer] && stats[otherPeer(peer)].kind == Kind::Folder) {
            addError(mPlan, path, peer, {ENOTDIR, "reach what lies below", path});
            mPlan.unseen.insert(path);
            return;
        }
    }
    task.finish = std::move(finish);
    task.timeChanged = timeChanged;
    mTasks.push_back(std::move(task));
}

void Walk::planBothFolders(const std::string& path, const Coverage::State& cover, std::size_t job,
                           const PerPeer<Stat>& stats, const Judgement& judgement, const Decision& decision,
                           const Entry* entry)
{
    FolderFinish finish;
    finish.path = path;
    finish.job = job;
    finish.stats = stats;
    finish.entry = judgement.entry;
    finish.entry.kind = Kind::Folder;
    finish.mtime = {stats.local.mtime, stats.network.mtime};

    PerPeer<bool> moved{true, true};
    if (entry && entry->kind == Kind::Folder) {
        for (const Peer peer : kPeers) {
            moved[peer] = !judgement.mustRestamp[peer] && stats[peer].mtime != entry->stamps[peer].mtime;
        }
    }
    if (moved.local && moved.network) {
        const std::int64_t latest = std::max(stats.local.mtime, stats.network.mtime);
        finish.mtime = {latest, latest};
    } else if (moved.local || judgement.mustRestamp.network) {
        finish.mtime.network = stats.local.mtime;
    } else if (moved.network || judgement.mustRestamp.local) {
        finish.mtime.local = stats.network.mtime;
    }
    const bool timeChanged = finish.mtime.local != stats.local.mtime || finish.mtime.network != stats.network.mtime;

    Decision step = decision;
    for (const Peer peer : kPeers) {
        const PerPeer<Stamp>& actual = judgement.entry.stamps;
        const bool modeDiffers = stats.local.mode != stats.network.mode;
        const bool attributesDiffer = actual.local.attributes != actual.network.attributes;
        if (!judgement.mustRestamp[peer] || (!modeDiffers && !attributesDiffer)) continue;
        AttributeSet& target = peer == Peer::Local ? step.toLocal : step.toNetwork;
        if (decideWrite(peer, mContext.coverage.job(job).options).step == Step::KeptOut) continue;
        target = static_cast<AttributeSet>(target | (modeDiffers ? kMode : 0) | (attributesDiffer ? kExtended : 0));
        step.step = Step::Restamp;
    }
    finish.restamped = {step.toLocal != 0, step.toNetwork != 0};
    finish.isRecorded = step.step != Step::KeptOut && !step.isPartial;
    // After an unfinished pass the archive learns of the folder when it is finished, not earlier.
    const bool isUnfinished = judgement.mustRestamp.local || judgement.mustRestamp.network;
    if (!isUnfinished || step.step == Step::Restamp) {
        Judgement early = judgement;
        for (const Peer peer : kPeers) {
            const bool isPending = finish.mtime[peer] != stats[peer].mtime;
            const bool mayWrite = decideWrite(peer, mContext.coverage.job(job).options).step != Step::KeptOut;
            early.entry.unfinished[peer] = isPending && mayWrite; // until its time is set
        }
        planItem(path, job, stats, early, step, entry);
    }
    planFolder(path, cover, stats, finish, timeChanged || isUnfinished);
}

void Walk::planItem(const std::string& path, std::size_t job, const PerPeer<Stat>& stats, const Judgement& judgement,
                    const Decision& decision, const Entry* entry)
{
    if (decision.jobEnd != JobEnd::None) endJob(mPlan, job, decision.jobEnd);
    Action action;
    action.job = job;
    action.path = path;
    action.stats = stats;
    action.entry = judgement.entry;
    switch (decision.step) {
    case Step::Nothing:
        if (judgement.stampsMoved && stats.local.exists()) record(action);
        // Written ahead of something that was never made: it must not speak for a later item of that name.
        if (entry && !stats.local.exists() && !stats.network.exists()) mPlan.forgets.push_back(path);
        return;
    case Step::Record:
        record(action);
        return;
    case Step::Forget:
        mPlan.forgets.push_back(path);
        return;
    case Step::KeptOut:
        return;
    case Step::Conflict:
        mPlan.conflicts.push_back({{path, std::string{decision.conflict}}, stats});
        return;
    case Step::Restamp:
        action.verb = Action::Verb::Restamp;
        action.toLocal = decision.toLocal;
        action.toNetwork = decision.toNetwork;
        action.isRecorded = !decision.isPartial;
        mPlan.restamps.add(action);
        return;
    case Step::WriteLocal:
    case Step::WriteNetwork:
        action.target = decision.step == Step::WriteLocal ? Peer::Local : Peer::Network;
        action.verb = stats[otherPeer(action.target)].exists() ? Action::Verb::Copy : Action::Verb::Delete;
        if (action.verb == Action::Verb::Delete && entry) action.entry = *entry;
        (action.verb == Action::Verb::Delete ? mPlan.deletions : mPlan.items).add(action);
        return;
    }
}

void Walk::record(Action& action)
{
    action.verb = Action::Verb::Record;
    mPlan.records.add(action);
}

} // namespace

const Entry* WalkContext::trusted(const Entry* entry, const std::string& path, const PerPeer<Stat>& stats) const
{
    if (!entry || !lastCoverage) return entry;
    const bool isAsAgreed =
        std::ranges::all_of(kPeers, [&](Peer peer) { return stillLooksLike(stats[peer], *entry, peer); });
    return isAsAgreed || lastCoverage->jobOfPath(path) ? entry : nullptr;
}

Plan planPass(const WalkContext& context)
{
    return Walk{context}.run();
}

void addError(Plan& plan, const std::string& path, Peer peer, const Problem& problem)
{
    plan.errors.push_back({path.empty() ? "." : path, "In " + std::string{homeWords(peer)} + ": " + problem.words()});
}

void endJob(Plan& plan, std::size_t job, JobEnd end)
{
    JobEnd& kept = plan.jobEnds[job];
    if (kept != JobEnd::WriteToReadOnlyPeer) kept = end;
}

} // namespace braid
