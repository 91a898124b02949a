#include "walk.h"

#include <algorithm>
#include <cerrno>
#include <memory>

#include "folder_queue.h"
#include "judge.h"
#include "spelling.h"
#include "subtree.h"

namespace braid
{

namespace
{

/// What a folder's own folders take over from it.
struct Place {
    Coverage::State cover;
    std::shared_ptr<const Whereabouts> where;
};

std::shared_ptr<const Whereabouts> whereabouts(const std::string& folder, const Whereabouts* above, const Row& row)
{
    if (!above && row.isSpelledAlike()) return nullptr;
    const auto in = [&](const std::string& place, const std::string& name) {
        return joinPath(above ? place : folder, name);
    };
    Whereabouts where;
    static const Whereabouts kNone;
    const Whereabouts& base = above ? *above : kNone;
    for (const Peer peer : kPeers)
        where.at[peer] = in(base.at[peer], row.items[peer] ? row.items[peer]->name : *row.name);
    where.agreed = in(base.agreed, row.entry ? *row.agreedAs : *row.name);
    return std::make_shared<const Whereabouts>(std::move(where));
}

/// Nobody was at it since both sides agreed: there is nothing to decide, whatever the jobs say.
bool isAsAgreed(const Row& row)
{
    const Entry* entry = row.entry;
    if (!entry || entry->kind == Kind::Folder || entry->unfinished.local || entry->unfinished.network) return false;
    return row.isSpelledAlike() && std::ranges::all_of(kPeers, [&](Peer peer) {
               const Listing::Item* item = row.items[peer];
               return item && item->error == 0 && stillLooksLike(item->stat, *entry, peer);
           });
}

class Walk
{
public:
    explicit Walk(const WalkContext& context)
        : mContext(context), mFolding{context.homes.local->folding(), context.homes.network->folding()}, mQueue(context)
    {
        mPlan.jobEnds.resize(context.coverage.count());
    }

    Plan run();

private:
    void mergeFolder(FolderTask& task);
    void mergeItem(const FolderTask& task, FolderPair& folder, const Row& row);
    void mergeFoldedNames(const FolderTask& task, FolderPair& folder, const std::vector<NamedEntry>& entries,
                          const PerPeer<Listing>& listings);
    void mergeSpellings(const FolderTask& task, FolderPair& folder, Row row, const PerPeer<Listing>& listings);
    void leaveColliding(const FolderTask& task, const Row& row);
    bool passesBy(const FolderTask& task, const std::string& path, const Row& row, const PerPeer<Stat>& stats);
    void planFolder(const std::string& path, const Place& place, const PerPeer<Stat>& stats,
                    std::optional<FolderFinish> finish, bool timeChanged);
    void planBothFolders(const std::string& path, const Place& place, std::size_t job, const PerPeer<Stat>& stats,
                         const Judgement& judgement, const Decision& decision, const Entry* entry);
    void planItem(const std::string& path, std::size_t job, const PerPeer<Stat>& stats, const Judgement& judgement,
                  const Decision& decision, const Entry* entry);
    void record(Action& action);

    const WalkContext& mContext;
    const PerPeer<text::NameFolding> mFolding;
    Plan mPlan;
    FolderQueue mQueue;
};

Plan Walk::run()
{
    FolderTask top;
    top.cover = mContext.coverage.top();
    top.present = {true, true};
    mQueue.add(std::move(top));
    while (!mQueue.empty() && !mContext.stop.stop_requested()) {
        FolderTask task = mQueue.takeNext();
        mContext.onFolder(task.path);
        mergeFolder(task);
    }
    return std::move(mPlan);
}

void Walk::mergeFolder(FolderTask& task)
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
    const std::vector<NamedEntry> entries = mContext.agreedIn(task.where ? task.where->agreed : task.path);
    const PerPeer<std::string> paths = task.where ? task.where->at : PerPeer<std::string>{task.path, task.path};
    FolderPair folder{mContext.homes, paths};
    const std::size_t actionsBefore = mPlan.count();
    if (mFolding.local.folds() || mFolding.network.folds()) {
        mergeFoldedNames(task, folder, entries, listings);
    } else {
        mergeNames(entries, listings, [&](const Row& row) {
            if (!mContext.stop.stop_requested()) mergeItem(task, folder, row);
        });
    }
    const bool isDisturbed = mPlan.count() != actionsBefore;
    if (task.finish && (isDisturbed || task.timeChanged)) mPlan.finishes.push_back(std::move(*task.finish));
}

void Walk::mergeFoldedNames(const FolderTask& task, FolderPair& folder, const std::vector<NamedEntry>& entries,
                            const PerPeer<Listing>& listings)
{
    std::vector<Row> rows;
    mergeNames(entries, listings, [&](Row row) {
        const auto cover = mContext.coverage.below(task.cover, joinPath(task.path, *row.name));
        row.leadsSomewhere = Coverage::leadsSomewhere(cover);
        rows.push_back(row);
    });
    for (const Row& row : joinSpellings(rows, mFolding)) {
        if (mContext.stop.stop_requested()) return;
        if (row.collidesIn) {
            leaveColliding(task, row);
        } else if (row.isSpelledAlike()) {
            mergeItem(task, folder, row);
        } else {
            mergeSpellings(task, folder, row, listings);
        }
    }
}

/// Decides how the name is to be spelled before the item itself is looked at.
void Walk::mergeSpellings(const FolderTask& task, FolderPair& folder, Row row, const PerPeer<Listing>& listings)
{
    const auto jobOf = [&](const std::string& name) {
        return mContext.coverage.jobOfItem(task.cover, joinPath(task.path, name));
    };
    std::string name = presentSpelling(row, mFolding);
    if (mFolding.local.folds() && mFolding.network.folds() && !jobOf(name)) name = *row.name; // leads to it, too
    row.name = &name;
    const auto job = jobOf(name);
    // The archive learns of no new spelling of a way down, and what lies below is agreed on at the path it has now.
    if (!job) row.entry = nullptr;
    const bool isInBoth = std::ranges::all_of(kPeers, [&](Peer peer) {
        const Listing::Item* item = row.items[peer];
        return item && item->error == 0 && item->stat.kind != Kind::Other;
    });
    Respelling respelling;
    if (job && isInBoth) {
        const JobOptions& options = mContext.coverage.job(*job).options;
        const Peer preferred = options.resolveConflictsInFavorOf.value_or(options.readOnlyPeer.value_or(Peer::Local));
        const Spelling wanted = settle(row, mFolding, preferred);
        const auto isTaken = [&](const Listing::Item& item) {
            return item.name == wanted.name && &item != row.items[*wanted.loser];
        };
        const bool isBlocked = wanted.loser && std::ranges::any_of(listings[*wanted.loser].items, isTaken);
        // A spelling that no job or another one has to do with stays where it was made.
        const bool isOneJob =
            jobOf(wanted.name) == job && jobOf(row.items.local->name) == job && jobOf(row.items.network->name) == job;
        if (wanted.loser && !isBlocked && isOneJob) {
            const Decision write = decideWrite(*wanted.loser, options);
            if (write.jobEnd != JobEnd::None) endJob(mPlan, *job, write.jobEnd);
            if (write.step == Step::KeptOut) { // with all below: it has no name yet that both homes know
                const std::string& above = task.where ? task.where->agreed : task.path;
                if (row.entry) mPlan.unseen.insert(joinPath(above, *row.agreedAs));
                return;
            }
            respelling.target = wanted.loser;
            respelling.from = row.items[*wanted.loser]->name;
            respelling.stat = row.items[*wanted.loser]->stat;
            name = wanted.name;
        }
    }
    if (row.entry && *row.agreedAs != name) respelling.agreedAs = *row.agreedAs;
    if (job && (respelling.target || !respelling.agreedAs.empty())) {
        respelling.path = joinPath(task.path, name);
        respelling.job = *job;
        mPlan.respellings.push_back(std::move(respelling));
    }
    mergeItem(task, folder, row);
}

void Walk::leaveColliding(const FolderTask& task, const Row& row)
{
    const Peer side = *row.collidesIn;
    const Listing::Item& item = *row.items[side];
    const std::string path = joinPath(task.path, *row.name);
    const auto job = mContext.coverage.jobOfItem(task.cover, path);
    if (!job || item.error != 0 || item.stat.kind == Kind::Other) return;
    PerPeer<Stat> stats;
    stats[side] = item.stat;
    if (const auto* rival = row.items[otherPeer(side)]) stats[otherPeer(side)] = rival->stat;
    addCollision(mContext, mPlan, path, *job, side, stats);
    if (!row.entry) return;
    // The other home does not hold what was agreed, and no deletion follows from that.
    mPlan.forgets.push_back(path);
    if (row.entry->kind == Kind::Folder) {
        const auto where = whereabouts(task.path, task.where.get(), row);
        planFolder(path, {mContext.coverage.below(task.cover, path), where}, {}, std::nullopt, false);
    }
}

/// What the engine leaves alone whatever the job says. True: go on with the next item.
bool Walk::passesBy(const FolderTask& task, const std::string& path, const Row& row, const PerPeer<Stat>& stats)
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
            mPlan.unseen.insert(path); // it may hide what was agreed on
            return true;
        }
    }
    return false;
}

void Walk::mergeItem(const FolderTask& task, FolderPair& folder, const Row& row)
{
    if (isAsAgreed(row)) return;
    const std::string path = joinPath(task.path, *row.name);
    PerPeer<Stat> stats;
    for (const Peer peer : kPeers) {
        if (row.items[peer]) stats[peer] = row.items[peer]->stat;
    }
    if (passesBy(task, path, row, stats)) return;

    const bool holdsItems = stats.local.kind == Kind::Folder || stats.network.kind == Kind::Folder ||
                            (row.entry && row.entry->kind == Kind::Folder);
    Place place;
    std::optional<std::size_t> job;
    if (holdsItems) {
        place.cover = mContext.coverage.below(task.cover, path);
        place.where = whereabouts(task.path, task.where.get(), row);
        job = Coverage::jobOf(place.cover);
        if (!Coverage::leadsSomewhere(place.cover)) return;
    } else {
        job = mContext.coverage.jobOfItem(task.cover, path);
    }
    if (!job) {
        // A folder above included ones: only a way down, unless a file or link blocks it on one side.
        if (holdsItems) planFolder(path, place, stats, std::nullopt, false);
        return;
    }

    const Entry* const entry = mContext.trusted(row.entry, path, stats);
    if (row.entry && !entry) mPlan.forgets.push_back(path);
    PerPeer<const char*> names;
    for (const Peer peer : kPeers)
        names[peer] = (row.items[peer] ? row.items[peer]->name : *row.name).c_str();
    Judgement judgement = judge(mContext.homes, folder, names, entry, stats, mContext.reading, mContext.stop);
    judgement.stampsMoved = judgement.stampsMoved || !row.isSpelledAlike();
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
        planBothFolders(path, place, *job, stats, judgement, decision, entry);
    } else if (stats.local.kind == Kind::Folder || stats.network.kind == Kind::Folder) {
        const Peer side = stats.local.kind == Kind::Folder ? Peer::Local : Peer::Network;
        const bool wasAgreed = judgement.before.exists();
        planOneSidedFolder(mContext, mPlan,
                           {path, place.cover, *job, side, stats, wasAgreed, decision, judgement.entry,
                            place.where ? place.where->at[side] : path, place.where ? place.where->agreed : path});
    } else {
        planItem(path, *job, stats, judgement, decision, entry);
        if (row.entry && row.entry->kind == Kind::Folder) {
            planFolder(path, place, {}, std::nullopt, false); // forget what the folder held
        }
    }
}

void Walk::planFolder(const std::string& path, const Place& place, const PerPeer<Stat>& stats,
                      std::optional<FolderFinish> finish, bool timeChanged)
{
    FolderTask task;
    task.path = path;
    task.where = place.where;
    task.cover = place.cover;
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
    mQueue.add(std::move(task));
}

void Walk::planBothFolders(const std::string& path, const Place& place, std::size_t job, const PerPeer<Stat>& stats,
                           const Judgement& judgement, const Decision& decision, const Entry* entry)
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
    finish.isRecorded = step.step != Step::KeptOut && step.keptOut == 0;
    // After an unfinished pass the archive learns of the folder when it is finished, not earlier. It may have been
    // before the pass ended.
    const bool isUnfinished = judgement.mustRestamp.local || judgement.mustRestamp.network;
    if (!isUnfinished || !timeChanged || step.step == Step::Restamp) {
        Judgement early = judgement;
        for (const Peer peer : kPeers) {
            const bool isPending = finish.mtime[peer] != stats[peer].mtime;
            const bool mayWrite = decideWrite(peer, mContext.coverage.job(job).options).step != Step::KeptOut;
            early.entry.unfinished[peer] = isPending && mayWrite; // until its time is set
        }
        planItem(path, job, stats, early, step, entry);
    }
    planFolder(path, place, stats, finish, timeChanged || isUnfinished);
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
        action.keptOut = decision.keptOut;
        mPlan.restamps.add(action);
        return;
    case Step::WriteLocal:
    case Step::WriteNetwork:
        action.target = decision.step == Step::WriteLocal ? Peer::Local : Peer::Network;
        action.verb = stats[otherPeer(action.target)].exists() ? Action::Verb::Copy : Action::Verb::Delete;
        if (!stats[otherPeer(action.target)].linked) { // else it would be written to under all its names
            action.toLocal = decision.toLocal;
            action.toNetwork = decision.toNetwork;
        }
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

} // namespace braid
