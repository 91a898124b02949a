#include "propagator.h"

#include <algorithm>
#include <cerrno>
#include <deque>
#include <utility>

#include "braid/disk/calls.h"
#include "linker.h"
#include "lost_home.h"
#include "placer.h"
#include "respeller.h"
#include "staging_crew.h"

namespace braid
{

namespace
{

constexpr std::size_t kBatchItems = 900; // a few hundred bytes each, and an open file
constexpr std::uint64_t kBatchBytes = std::uint64_t{64} << 20;
constexpr std::size_t kCheckHomesEvery = 200; // deletions

bool failsAtSource(const Problem& problem)
{
    return problem.call.starts_with("read");
}

/// Copies that are made together, and what came of them.
struct Batch {
    std::vector<Action> actions;
    std::vector<StagingCrew::Result> copies; ///< One for each action; none before they are made and once in place.
};

class Propagator
{
public:
    explicit Propagator(Workbench& bench)
        : mBench(bench), mPlan(bench.plan), mCrew(bench), mPlacer(bench), mLinker(bench)
    {
    }

    std::optional<Problem> run();

private:
    std::optional<Problem> countUpGenerations();
    void failAll(Peer peer, int code);
    std::optional<Problem> tellArchive();
    std::optional<Problem> makeFolders();
    std::optional<Problem> handleItems(const ActionList& items);
    std::vector<Action> nextBatch(const ActionList& items, ActionList::Index& at);
    void takeStaged(Batch& batch);
    void place(Batch& batch);
    void discard(Batch& batch);
    std::optional<Problem> removeAll(const ActionList& deletions);
    std::optional<Problem> restampAll();
    std::optional<Problem> linkAll();
    int link(const Action& action);
    std::optional<Problem> finishFolders();
    void finishFolder(FolderFinish& finish);
    void announceFolders();
    void done(const Action& action, int code, std::uint64_t& counter);
    bool meetsOtherSpelling(const Action& action);
    /// The pass goes on: nobody asked for its end, and both homes still answer.
    bool goesOn() const { return !mBench.isStopped() && !mLost; }
    void failedToStage(const Action& action, const Problem& problem);

    Workbench& mBench;
    Plan& mPlan;
    StagingCrew mCrew;
    Placer mPlacer;
    Linker mLinker;
    std::set<std::string> mUnfinishable; ///< Folders that could not be written: not to be recorded as if they had been.
    std::optional<Problem> mLost;        ///< A home went away.
};

void Propagator::done(const Action& action, int code, std::uint64_t& counter)
{
    mBench.reporter.addItem();
    if (code == 0) {
        ++counter;
    } else if (mBench.isLost(code)) {
        mLost = Problem{code, "reach " + std::string{homeWords(action.target)}, action.path};
    } else if (code == EAGAIN && meetsOtherSpelling(action)) {
        if (action.verb == Action::Verb::MakeFolder) mPlan.withdraw({action.path});
    } else {
        mBench.fail(action.path, action.target, {code, "update it", action.path});
    }
}

/// A home may take names for the same that the plan took for different ones. True: that is why the action failed, and
/// the item is now one of the conflicts.
bool Propagator::meetsOtherSpelling(const Action& action)
{
    const bool isDeletion = action.verb == Action::Verb::Delete;
    const bool isCreation = !isDeletion && !action.stats[action.target].exists();
    if (!isDeletion && !isCreation) return false;
    const Peer folding = isDeletion ? otherPeer(action.target) : action.target;
    const auto folder = mBench.homes[folding]->openFolder(folderOf(action.path));
    const std::string name{nameOf(action.path)};
    if (!folder || !isOtherSpelling(folder->number(), name)) return false;
    PerPeer<Stat> stats = action.stats;
    if (const auto rival = disk::statAt(folder->number(), name.c_str())) stats[folding] = *rival;
    mPlan.conflicts.push_back({{action.path, std::string{conflicts::kNameCollision}}, stats});
    return true;
}

/// Before the first write to a home, so that a copy of it that was made earlier is known by its lower number. What a
/// pass only reads from a home goes into the archive just the same, so both numbers go up whenever anything does.
std::optional<Problem> Propagator::countUpGenerations()
{
    PerPeer<bool> isWritten;
    for (const Respelling& each : mPlan.respellings) {
        if (each.target) isWritten[*each.target] = true;
    }
    const bool isAnything =
        mPlan.count() > 0 || !mPlan.respellings.empty() || !mPlan.records.empty() || !mPlan.forgets.empty();
    for (const auto* list :
         {&mPlan.makeRoom, &mPlan.folders, &mPlan.items, &mPlan.restamps, &mPlan.links, &mPlan.deletions}) {
        list->each([&](ActionList::Index, const Action& action) {
            const bool both = action.verb == Action::Verb::Restamp;
            if (both ? action.toLocal != 0 : action.target == Peer::Local) isWritten.local = true;
            if (both ? action.toNetwork != 0 : action.target == Peer::Network) isWritten.network = true;
        });
    }
    for (const Peer peer : kPeers) {
        if (!isAnything) continue;
        const auto problem = mBench.homes[peer]->countUpGeneration();
        if (!problem) continue;
        // A full disk is no reason to keep what lies on it from the other home.
        if (!isFull(problem->code)) return problem;
        if (isWritten[peer]) failAll(peer, problem->code);
    }
    mBench.archive.rememberGenerations({mBench.homes.local->ownGeneration(), mBench.homes.network->ownGeneration()});
    return mBench.archive.failure();
}

/// Nothing can be written to that home; the plan for the other one stands.
void Propagator::failAll(Peer peer, int code)
{
    for (ActionList* list :
         {&mPlan.makeRoom, &mPlan.folders, &mPlan.items, &mPlan.restamps, &mPlan.links, &mPlan.deletions}) {
        list->each([&](ActionList::Index index, const Action& action) {
            const bool both = action.verb == Action::Verb::Restamp;
            const AttributeSet attributes = peer == Peer::Local ? action.toLocal : action.toNetwork;
            if (both ? attributes == 0 : action.target != peer) return;
            mBench.fail(action.path, peer, {code, "update it", action.path});
            mBench.reporter.addItem();
            mUnfinishable.insert(action.path);
            list->drop(index);
        });
    }
    for (FolderFinish& finish : mPlan.finishes) {
        finish.mtime[peer] = finish.stats[peer].mtime;
        finish.restamped[peer] = false;
    }
    PathSet withdrawn;
    for (const Respelling& each : mPlan.respellings) {
        if (each.target != peer) continue;
        mBench.fail(each.path, peer, {code, "rename it", each.path});
        mBench.reporter.addItem();
        withdrawn.insert(each.path);
    }
    mPlan.withdraw(withdrawn);
}

std::optional<Problem> Propagator::tellArchive()
{
    // Taken out: what is withdrawn from now on has been forgotten nevertheless.
    for (const std::string& path : std::exchange(mPlan.forgets, {}))
        mBench.forgetLater(path);
    for (ActionList::Index i = 0; i < mPlan.records.size(); ++i) {
        if (mPlan.records.isDropped(i)) continue;
        const Action record = mPlan.records[i];
        mBench.recordLater(record.path, record.entry);
        if (!mBench.hasMuchToSettle()) continue;
        if (auto problem = mBench.settle()) return problem;
    }
    return mBench.settle();
}

/// A folder gets its mode and time when everything is inside. Should the process end before, the entry written ahead
/// says whose mode and time are the right ones.
void Propagator::announceFolders()
{
    mPlan.folders.each([&](ActionList::Index, const Action& action) {
        if (action.stats[action.target].exists()) return;
        const Peer source = otherPeer(action.target);
        Entry ahead;
        ahead.kind = Kind::Folder;
        const Stat& model = action.stats[source];
        // Nobody has read its attributes yet: without a change time they are looked at.
        ahead.stamps[source] = {model.inode, 0, model.mtime, model.mode, 0};
        ahead.unfinished[action.target] = true;
        mBench.recordLater(action.path, ahead);
    });
}

std::optional<Problem> Propagator::makeFolders()
{
    if (mPlan.folders.empty()) return std::nullopt;
    announceFolders();
    if (auto problem = mBench.settle()) return problem;
    for (ActionList::Index i = 0; i < mPlan.folders.size() && goesOn(); ++i) {
        if (mPlan.folders.isDropped(i)) continue;
        const Action action = mPlan.folders[i];
        mBench.reporter.at(action.path);
        const int code = mPlacer.makeFolder(action);
        done(action, code, mBench.counts.created);
        if (code != 0) mUnfinishable.insert(action.path);
    }
    return mLost;
}

/// Puts copies in place that are durable.
void Propagator::place(Batch& batch)
{
    for (StagingCrew::Result& copy : batch.copies) {
        if (!copy || !*copy) continue;
        Staged& staged = **copy;
        const Action& action = *staged.action;
        const bool isNew = !action.stats[action.target].exists();
        const int code = staged.isContentThere ? mPlacer.restampTouched(staged) : mPlacer.place(staged);
        if (code != 0) mCrew.discard(staged);
        if (code == 0) {
            if (!staged.isContentThere) mBench.recordLater(action.path, staged.entry, onlyOn(action.target));
            mBench.recordBlocksLater(action.path, std::move(staged.content));
            mBench.counts.bytes += staged.bytes;
        }
        done(action, code, isNew ? mBench.counts.created : mBench.counts.updated);
    }
    batch.copies.clear();
}

void Propagator::discard(Batch& batch)
{
    for (const StagingCrew::Result& copy : batch.copies) {
        if (copy && *copy) mCrew.discard(**copy);
    }
    batch.copies.clear();
}

void Propagator::failedToStage(const Action& action, const Problem& problem)
{
    const Peer peer = failsAtSource(problem) ? otherPeer(action.target) : action.target;
    if (mBench.isLost(problem.code)) {
        mLost = Problem{problem.code, "reach " + std::string{homeWords(peer)}, action.path};
        return;
    }
    mBench.fail(action.path, peer, problem);
    mBench.reporter.addItem();
}

/// The next copies to make together, from `at` on, which moves on; moves on the way are carried out, or become copies
/// where only the old name is held fast.
std::vector<Action> Propagator::nextBatch(const ActionList& items, ActionList::Index& at)
{
    std::vector<Action> batch;
    batch.reserve(std::min(kBatchItems, items.size() - at));
    std::uint64_t bytes = 0;
    for (; at < items.size() && batch.size() < kBatchItems && bytes < kBatchBytes && goesOn(); ++at) {
        if (items.isDropped(at)) continue;
        Action action = items[at];
        if (action.verb == Action::Verb::Move) {
            mBench.reporter.at(action.path);
            const int code = mPlacer.move(action);
            const bool isDenied = code == EACCES || code == EPERM;
            if (isDenied) mBench.fail(action.from, action.target, {code, "move it", action.from});
            if (!isDenied || !mPlacer.canCopyInsteadOfMove(action)) {
                done(action, code, mBench.counts.renamed);
                continue;
            }
            // What the file holds need not wait until its old name can be taken away.
            action.verb = Action::Verb::Copy;
            action.from.clear();
        }
        if (int code = mPlacer.takeAttributes(action)) {
            done(action, code, mBench.counts.updated);
            continue;
        }
        bytes += static_cast<std::uint64_t>(action.stats[otherPeer(action.target)].size);
        action.known = mPlacer.knownContent(action);
        batch.push_back(std::move(action));
    }
    return batch;
}

void Propagator::takeStaged(Batch& batch)
{
    batch.copies = mCrew.finish();
    for (std::size_t i = 0; i < batch.copies.size(); ++i) {
        const StagingCrew::Result& copy = batch.copies[i];
        if (!copy) continue;
        const Action& action = batch.actions[i];
        if (!*copy) {
            if (!mBench.isStopped()) failedToStage(action, copy->problem());
        } else if (!(*copy)->isContentThere) {
            mBench.touchItemIn(action.target, folderOf(action.path));
        }
    }
}

/// While the crew makes the copies of some batches, those of the batch before are made durable, and those of the batch
/// before that, which are, put in place.
std::optional<Problem> Propagator::handleItems(const ActionList& items)
{
    std::optional<Problem> problem;
    ActionList::Index at = 0;
    std::deque<Batch> copying;
    Batch flushing;
    while (!problem && goesOn() && (at < items.size() || !copying.empty() || !flushing.copies.empty())) {
        while (at < items.size() && copying.size() < StagingCrew::kBatches && goesOn()) {
            copying.push_back({nextBatch(items, at), {}});
            mCrew.start(copying.back().actions);
        }
        Batch copied;
        if (!copying.empty()) {
            takeStaged(copying.front());
            copied = std::move(copying.front());
            copying.pop_front();
        }
        problem = mBench.settleBehind();
        if (!problem && goesOn()) place(flushing);
        discard(flushing); // what a stop or a problem kept from its place
        flushing = std::move(copied);
    }
    discard(flushing);
    mCrew.discardAll();
    return problem ? problem : mLost;
}

std::optional<Problem> Propagator::removeAll(const ActionList& deletions)
{
    std::size_t sinceCheck = kCheckHomesEvery;
    for (ActionList::Index i = 0; i < deletions.size() && goesOn(); ++i) {
        if (deletions.isDropped(i)) continue;
        const Action action = deletions[i];
        if (++sinceCheck > kCheckHomesEvery) {
            // A share that went away may leave an empty folder behind that answers like a home without files.
            for (const Peer peer : kPeers) {
                if (auto problem = mBench.homes[peer]->checkStillThere()) return problem;
            }
            sinceCheck = 0;
        }
        mBench.reporter.at(action.path);
        const int code = mPlacer.remove(action);
        if (code == 0) mBench.forgetLater(action.path);
        done(action, code, mBench.counts.deleted);
        if (!mBench.hasMuchToSettle()) continue;
        if (auto problem = mBench.settle()) return problem;
    }
    return mLost;
}

std::optional<Problem> Propagator::restampAll()
{
    for (ActionList::Index i = 0; i < mPlan.restamps.size() && goesOn(); ++i) {
        if (mPlan.restamps.isDropped(i)) continue;
        const Action action = mPlan.restamps[i];
        mBench.reporter.at(action.path);
        const int code = mPlacer.restamp(action);
        done(action, code, mBench.counts.updated);
        if (code != 0) mUnfinishable.insert(action.path);
        if (!mBench.hasMuchToSettle()) continue;
        if (auto problem = mBench.settle()) return problem;
    }
    return mLost;
}

int Propagator::link(const Action& action)
{
    auto staged = mLinker.stage(action);
    if (!staged) return staged.problem().code;
    Stamp& stamp = staged->entry.stamps[action.target];
    const bool isTrusted = stamp.ctime != 0;
    if (int code = mPlacer.place(*staged)) {
        mCrew.discard(*staged);
        return code;
    }
    if (!isTrusted) stamp.ctime = 0; // nobody has looked at the file under its other name either
    mBench.recordLater(action.path, staged->entry, onlyOn(action.target));
    mBench.recordBlocksLater(action.path, std::move(staged->content));
    return 0;
}

/// What cannot be linked, here or at all, is copied.
std::optional<Problem> Propagator::linkAll()
{
    if (mPlan.links.empty()) return std::nullopt;
    if (auto problem = mBench.settleAll()) return problem; // the archive then tells what lies at the names to link to
    ActionList copies;
    for (ActionList::Index i = 0; i < mPlan.links.size() && goesOn(); ++i) {
        if (mPlan.links.isDropped(i)) continue;
        Action action = mPlan.links[i];
        mBench.reporter.at(action.path);
        const bool isNew = !action.stats[action.target].exists();
        const int code = link(action);
        if (code == 0 || meansLostHome(code)) {
            done(action, code, isNew ? mBench.counts.created : mBench.counts.updated);
        } else {
            action.verb = Action::Verb::Copy;
            copies.add(action);
        }
        if (!mBench.hasMuchToSettle()) continue;
        if (auto problem = mBench.settle()) return problem;
    }
    return mLost ? mLost : handleItems(copies);
}

std::optional<Problem> Propagator::finishFolders()
{
    for (ActionList::Index i = mPlan.folders.size(); i-- > 0 && goesOn();) {
        if (mPlan.folders.isDropped(i)) continue;
        const Action action = mPlan.folders[i];
        FolderFinish finish;
        finish.path = action.path;
        finish.job = action.job;
        finish.stats = action.stats;
        finish.mtime.local = finish.mtime.network = action.stats[otherPeer(action.target)].mtime;
        finish.created = action.target;
        finish.entry = action.entry;
        finishFolder(finish);
        if (!mBench.hasMuchToSettle()) continue;
        if (auto problem = mBench.settle()) return problem;
    }
    for (FolderFinish& finish : mPlan.finishes) {
        if (!goesOn()) break;
        finishFolder(finish);
    }
    return mLost;
}

void Propagator::finishFolder(FolderFinish& finish)
{
    if (mUnfinishable.contains(finish.path)) return;
    const int code = mPlacer.finishFolder(finish);
    if (code != 0 && code != EAGAIN) {
        mBench.fail(finish.path, finish.created.value_or(Peer::Network), {code, "set its time", finish.path});
    }
}

std::optional<Problem> Propagator::run()
{
    if (auto problem = countUpGenerations()) return problem;
    if (auto problem = Respeller{mBench}.run()) return problem;
    if (!mPlan.respellings.empty()) return std::nullopt; // stopped: nothing has the paths yet that are planned with
    if (auto problem = tellArchive()) return problem;
    if (auto problem = removeAll(mPlan.makeRoom)) return problem;
    if (auto problem = makeFolders()) return problem;
    if (auto problem = handleItems(mPlan.items)) return problem;
    if (auto problem = restampAll()) return problem;
    if (auto problem = linkAll()) return problem;
    if (auto problem = removeAll(mPlan.deletions)) return problem;
    if (auto problem = finishFolders()) return problem;
    if (auto problem = mBench.settleAll()) return problem;
    return mBench.tellOwnMoves();
}

} // namespace

std::optional<Problem> propagate(Workbench& bench)
{
    return Propagator{bench}.run();
}

} // namespace braid
