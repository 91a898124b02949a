#include "subtree.h"

#include <algorithm>
#include <map>
#include <utility>

namespace braid
{

namespace
{

class Subtree
{
public:
    Subtree(const WalkContext& context, Plan& plan, const OneSidedFolder& folder)
        : mContext(context), mPlan(plan), mTop(folder), mSide(folder.side), mOther(otherPeer(folder.side))
    {
    }

    void run();

private:
    struct Pending {
        std::string path;
        Coverage::State cover;
        PendingListing listing;
    };

    void collect();
    void visitFolder(Pending folder);
    void visitItem(const std::string& folder, const Coverage::State& cover, FolderPair& pair, const Listing::Item& item,
                   const Entry* entry);
    void findCollisions(const std::string& folder, const Listing& listing);
    std::string pathFrom(const std::string& top, const std::string& path) const
    {
        return top + path.substr(mTop.path.size());
    }
    void hold(std::string_view path);
    void leaveOut(const std::string& path);
    void forgetWhatWasLeftOut();
    void take(const Action& node);
    void create(Action node);
    void remove();
    /// Jobs other than the folder's own may have items inside.
    bool holdsOtherJobs() const;
    /// The node's job may not write there; if it must end for that it is told so.
    bool isKeptOut(const Action& node, Peer target);

    const WalkContext& mContext;
    Plan& mPlan;
    const OneSidedFolder& mTop;
    Peer mSide;
    Peer mOther;

    std::vector<Pending> mPending;
    bool mIsCreated = false;        // whatever may be found inside
    ActionList mNodes;              // everything, as deletions, folders before what they hold; unless mIsCreated
    std::vector<std::string> mGone; // agreed once, now on neither side
    std::vector<std::string> mLeftOut;
    std::set<std::string> mColliding; // what the other home takes for the same as something else in the folder
    std::set<std::string> mHeld;      // folders that hold something that no job of this pass may take away
    bool mIsEdited = false;
};

/// The folder and all above it up to the top must stay.
void Subtree::hold(std::string_view path)
{
    while (true) {
        mHeld.emplace(path);
        if (path.size() <= mTop.path.size()) return;
        path = folderOf(path);
    }
}

/// Nothing can be done about it in this pass.
void Subtree::leaveOut(const std::string& path)
{
    hold(folderOf(path));
    mLeftOut.push_back(path);
}

/// What the folder's new copy lacks must not look deleted there.
void Subtree::forgetWhatWasLeftOut()
{
    while (!mLeftOut.empty()) {
        const std::string path = std::move(mLeftOut.back());
        mLeftOut.pop_back();
        if (mContext.coverage.jobOfPath(path)) mPlan.forgets.push_back(path);
        for (const NamedEntry& below : mContext.agreedIn(path))
            mLeftOut.push_back(joinPath(path, below.name));
    }
}

void Subtree::visitItem(const std::string& folder, const Coverage::State& cover, FolderPair& pair,
                        const Listing::Item& item, const Entry* entry)
{
    const std::string path = joinPath(folder, item.name);
    if (item.error != 0) {
        addError(mPlan, path, mSide, {item.error, "look at it", path});
        mPlan.unseen.insert(path);
        leaveOut(path);
        return;
    }
    Coverage::State below;
    std::optional<std::size_t> job;
    if (item.stat.kind == Kind::Folder) {
        below = mContext.coverage.below(cover, path);
        job = Coverage::jobOf(below);
    } else {
        job = mContext.coverage.jobOfItem(cover, path);
    }
    if (item.stat.kind == Kind::Other || mContext.homes[mOther]->isTop(item.stat)) {
        if (job) mPlan.skipped.push_back(path);
        mPlan.unseen.insert(path); // it may hide what was agreed on
        leaveOut(path);
        return;
    }
    if (!job) {
        hold(folder);
        return;
    }
    Action node;
    node.path = path;
    node.job = *job;
    node.stats[mSide] = item.stat;
    const char* name = item.name.c_str();
    const Entry* const known = std::exchange(entry, mContext.trusted(entry, path, node.stats));
    // Should the pass not get as far, what is to be made there must not look deleted.
    if (known && (!entry || mIsCreated)) mPlan.forgets.push_back(path);
    const Judgement judgement =
        judge(mContext.homes, pair, {name, name}, entry, node.stats, mContext.reading, mContext.stop);
    if (judgement.problem) {
        addError(mPlan, path, mSide, *judgement.problem);
        leaveOut(path);
        return;
    }
    node.entry = entry && !mIsCreated ? *entry : judgement.entry;
    mIsEdited = mIsEdited || !judgement.before.exists() || !hasSameContent(judgement.before, judgement.now[mSide]);
    take(node);
    if (item.stat.kind == Kind::Folder) mPending.push_back({path, below, {}});
}

void Subtree::findCollisions(const std::string& folder, const Listing& listing)
{
    const text::NameFolding& folding = mContext.homes[mOther]->folding();
    if (!folding.folds()) return;
    std::map<std::string, std::string> keys; // of the other home, and of this one
    for (const Listing::Item& item : listing.items) {
        const std::string here = text::foldName(item.name, mContext.homes[mSide]->folding());
        const auto [first, isNew] = keys.emplace(text::foldName(item.name, folding), here);
        // What this home folds in the same way and holds twice can be told apart after all.
        if (!isNew && first->second != here) mColliding.insert(joinPath(folder, item.name));
    }
}

void Subtree::visitFolder(Pending folder)
{
    mContext.onFolder(folder.path);
    const Listing listing = folder.listing.get();
    if (listing.problem) {
        addError(mPlan, folder.path, mSide, *listing.problem);
        mPlan.unseen.insert(folder.path);
        hold(folder.path);
        leaveOut(folder.path);
        return;
    }
    if (listing.hasOwnNames) hold(folder.path);
    findCollisions(folder.path, listing);
    const std::string at = pathFrom(mTop.at, folder.path);
    const PerPeer<std::string> paths{at, at};
    FolderPair pair{mContext.homes, paths};
    const std::vector<NamedEntry> entries = mContext.agreedIn(pathFrom(mTop.agreed, folder.path));
    auto entry = entries.begin();
    const auto forgetUpTo = [&](const std::string* name) {
        for (; entry != entries.end() && (!name || entry->name < *name); ++entry) {
            const std::string path = joinPath(folder.path, entry->name);
            if (mContext.coverage.jobOfItem(folder.cover, path)) mGone.push_back(path);
        }
    };
    for (const Listing::Item& item : listing.items) {
        forgetUpTo(&item.name);
        const bool known = entry != entries.end() && entry->name == item.name;
        visitItem(folder.path, folder.cover, pair, item, known ? &(entry++)->entry : nullptr);
    }
    forgetUpTo(nullptr);
}

void Subtree::collect()
{
    constexpr std::size_t kReadAhead = 64;
    mPending.push_back({mTop.path, mTop.cover, {}});
    while (!mPending.empty() && !mContext.stop.stop_requested()) {
        const std::size_t first = mPending.size() - std::min(mPending.size(), kReadAhead);
        for (std::size_t at = first; at < mPending.size(); ++at) {
            Pending& next = mPending[at]; // the next one last, as in Walk::readAhead()
            if (!next.listing.isRequested()) next.listing = mContext.list(mSide, pathFrom(mTop.at, next.path));
        }
        std::size_t at = mPending.size() - 1; // or any that is there already, as in Walk::takeNext()
        for (std::size_t candidate = mPending.size(); candidate-- > first;) {
            if (!mPending[candidate].listing.isReady()) continue;
            at = candidate;
            break;
        }
        Pending folder = std::move(mPending[at]);
        mPending.erase(mPending.begin() + static_cast<std::ptrdiff_t>(at));
        visitFolder(std::move(folder));
    }
}

void Subtree::take(const Action& node)
{
    if (mIsCreated) {
        create(node);
    } else {
        mNodes.add(node);
    }
}

bool Subtree::isKeptOut(const Action& node, Peer target)
{
    const Decision write = decideWrite(target, mContext.coverage.job(node.job).options);
    if (write.jobEnd != JobEnd::None) endJob(mPlan, node.job, write.jobEnd);
    return write.step == Step::KeptOut;
}

void Subtree::create(Action node)
{
    if (mColliding.contains(node.path)) {
        return addCollision(mContext, mPlan, node.path, node.job, mSide, node.stats);
    }
    const auto holds = [&](const std::string& folder) { return liesBelow(node.path, folder); };
    if (std::ranges::any_of(mColliding, holds) || isKeptOut(node, mOther)) return;
    node.target = mOther;
    if (node.stats[mSide].kind == Kind::Folder) {
        node.verb = Action::Verb::MakeFolder;
        mPlan.folders.add(node);
    } else {
        mPlan.items.add(node);
    }
}

void Subtree::remove()
{
    // Deepest first, so that a folder is known to be held before its turn comes.
    const auto eachBackwards = [&](auto visit) {
        for (ActionList::Index index = mNodes.size(); index-- > 0;) {
            Action node = mNodes[index];
            if (!mHeld.contains(node.path)) visit(node);
        }
    };
    eachBackwards([&](const Action& node) {
        if (isKeptOut(node, mSide)) hold(node.stats[mSide].kind == Kind::Folder ? node.path : folderOf(node.path));
    });
    const bool isReplaced = mTop.stats[mOther].exists();
    if (isReplaced && !mHeld.empty()) {
        // The file or link of the other side cannot take the folder's place.
        mPlan.conflicts.push_back({{mTop.path, std::string{conflicts::kTypeType}}, mTop.stats});
        return;
    }
    eachBackwards([&](Action& node) {
        if (node.stats[mSide].kind != Kind::Folder && isKeptOut(node, mSide)) return;
        node.verb = Action::Verb::Delete;
        node.target = mSide;
        (isReplaced ? mPlan.makeRoom : mPlan.deletions).add(node);
    });
    if (!isReplaced) return;
    Action action;
    action.target = mSide;
    action.job = mTop.job;
    action.path = mTop.path;
    action.stats = mTop.stats;
    action.entry = mTop.entry;
    mPlan.items.add(action);
}

bool Subtree::holdsOtherJobs() const
{
    Coverage::State others = mTop.cover;
    others.erase(mTop.job, 1);
    return Coverage::leadsSomewhere(others);
}

void Subtree::run()
{
    if (mTop.decision.jobEnd != JobEnd::None) endJob(mPlan, mTop.job, mTop.decision.jobEnd);
    if (mTop.decision.step == Step::Conflict) {
        mPlan.conflicts.push_back({{mTop.path, std::string{mTop.decision.conflict}}, mTop.stats});
        return;
    }
    Step step = mTop.decision.step;
    if (step == Step::KeptOut) {
        // What lies inside may belong to a job that may write.
        if (mTop.stats[mOther].exists() || !holdsOtherJobs()) return;
        step = writeTo(mTop.wasAgreed ? mSide : mOther);
    }
    mIsCreated = step == writeTo(mOther);
    Action top;
    top.path = mTop.path;
    top.job = mTop.job;
    top.stats = mTop.stats;
    top.entry = mTop.entry;
    take(top);
    collect();
    if (mContext.stop.stop_requested()) return;

    const bool isTopKeptOut = mTop.decision.step == Step::KeptOut;
    if (isTopKeptOut && !mIsCreated && mIsEdited) return; // waits with it
    const bool wasResolved = !mTop.decision.conflict.empty();
    if (step == writeTo(mSide) && mIsEdited && !wasResolved) {
        const bool isReplaced = mTop.stats[mOther].exists();
        const Decision decision = decideConflict(isReplaced ? conflicts::kTypeType : conflicts::kDeleteFolder,
                                                 mContext.coverage.job(mTop.job).options);
        if (decision.jobEnd != JobEnd::None) endJob(mPlan, mTop.job, decision.jobEnd);
        if (decision.step == Step::Conflict) {
            mPlan.conflicts.push_back({{mTop.path, std::string{decision.conflict}}, mTop.stats});
        }
        if (decision.step == Step::Conflict || decision.step == Step::KeptOut) return;
        step = decision.step;
    }
    for (std::string& path : mGone)
        mPlan.forgets.push_back(std::move(path));
    if (step != writeTo(mOther)) {
        remove();
        return;
    }
    forgetWhatWasLeftOut();
    if (!mIsCreated) {
        mNodes.each([&](ActionList::Index, Action node) {
            mPlan.forgets.push_back(node.path); // as in visitItem()
            create(std::move(node));
        });
    }
}

} // namespace

void planOneSidedFolder(const WalkContext& context, Plan& plan, const OneSidedFolder& folder)
{
    Subtree{context, plan, folder}.run();
}

} // namespace braid
