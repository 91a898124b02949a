#include "subtree.h"

#include <algorithm>

namespace braid
{

namespace
{

/// One item below (or at the top of) a one-sided folder.
struct Node {
    std::string path;
    std::size_t job = 0;
    Stat stat;
    Entry entry; ///< To record after copying.
    std::optional<Entry> agreed;
    bool isEdited = false; ///< New, or its content is no longer what was agreed.
};

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
        std::future<Listing> listing;
    };

    void collect();
    void visitFolder(Pending folder);
    void visitItem(const std::string& folder, const Coverage::State& cover, FolderPair& pair, const Listing::Item& item,
                   const Entry* entry);
    void hold(std::string_view path);
    void create();
    void remove();
    Action actionFor(const Node& node) const;
    /// False: the node's job keeps the write out.
    bool mayWrite(const Node& node, Peer target);

    const WalkContext& mContext;
    Plan& mPlan;
    const OneSidedFolder& mTop;
    Peer mSide;
    Peer mOther;

    std::vector<Pending> mPending;
    std::vector<Node> mNodes;
    std::vector<std::string> mGone; // agreed once, now on neither side
    std::set<std::string> mHeld;    // folders that hold something that no job of this pass may take away
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

void Subtree::visitItem(const std::string& folder, const Coverage::State& cover, FolderPair& pair,
                        const Listing::Item& item, const Entry* entry)
{
    const std::string path = joinPath(folder, item.name);
    if (item.error != 0) {
        addError(mPlan, path, mSide, {item.error, "look at it", path});
        hold(folder);
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
        hold(folder);
        return;
    }
    if (!job) {
        hold(folder);
        return;
    }
    Node node;
    node.path = path;
    node.job = *job;
    node.stat = item.stat;
    if (entry) node.agreed = *entry;

    PerPeer<Stat> stats;
    stats[mSide] = item.stat;
    const Judgement judgement = judge(mContext.homes, pair, item.name, entry, stats, mContext.stop);
    if (judgement.problem) {
        addError(mPlan, path, mSide, *judgement.problem);
        hold(folder);
        return;
    }
    node.entry = judgement.entry;
    node.isEdited = !judgement.before.exists() || !hasSameContent(judgement.before, judgement.now[mSide]);
    mIsEdited = mIsEdited || node.isEdited;
    mNodes.push_back(std::move(node));
    if (item.stat.kind == Kind::Folder) mPending.push_back({path, below, {}});
}

void Subtree::visitFolder(Pending folder)
{
    mContext.onFolder(folder.path);
    const Listing listing = folder.listing.get();
    if (listing.problem) {
        addError(mPlan, folder.path, mSide, *listing.problem);
        mPlan.unseen.insert(folder.path);
        hold(folder.path);
        return;
    }
    if (listing.hasOwnNames) hold(folder.path);
    FolderPair pair{mContext.homes, folder.path};
    const std::vector<NamedEntry> entries = mContext.agreedIn(folder.path);
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
    constexpr std::size_t kReadAhead = 16;
    mPending.push_back({mTop.path, mTop.cover, {}});
    while (!mPending.empty() && !mContext.stop.stop_requested()) {
        std::size_t ahead = 0;
        for (auto next = mPending.rbegin(); next != mPending.rend() && ahead < kReadAhead; ++next, ++ahead) {
            if (!next->listing.valid()) next->listing = mContext.list(mSide, next->path);
        }
        Pending folder = std::move(mPending.back());
        mPending.pop_back();
        visitFolder(std::move(folder));
    }
}

bool Subtree::mayWrite(const Node& node, Peer target)
{
    const Decision write = decideWrite(target, mContext.coverage.job(node.job).options);
    if (write.jobEnd != JobEnd::None) endJob(mPlan, node.job, write.jobEnd);
    return write.step != Step::KeptOut;
}

Action Subtree::actionFor(const Node& node) const
{
    Action action;
    action.job = node.job;
    action.path = node.path;
    action.stats[mSide] = node.stat;
    action.entry = node.entry;
    return action;
}

void Subtree::create()
{
    for (const Node& node : mNodes) {
        if (!mayWrite(node, mOther)) continue;
        Action action = actionFor(node);
        action.target = mOther;
        if (node.path == mTop.path) action.stats[mOther] = mTop.stats[mOther];
        if (node.stat.kind != Kind::Folder) {
            mPlan.actions.push_back(std::move(action));
            continue;
        }
        action.verb = Action::Verb::MakeFolder;
        FolderFinish finish;
        finish.path = node.path;
        finish.job = node.job;
        finish.stats = action.stats;
        finish.mtime = {node.stat.mtime, node.stat.mtime};
        finish.created = mOther;
        finish.entry = node.entry;
        mPlan.folders.push_back(std::move(finish));
        mPlan.actions.push_back(std::move(action));
    }
}

void Subtree::remove()
{
    const bool isReplaced = mTop.stats[mOther].exists();
    if (isReplaced && !mHeld.empty()) {
        // The file or link of the other side cannot take the folder's place.
        mPlan.conflicts.push_back({{mTop.path, std::string{conflicts::kTypeType}}, mTop.stats});
        return;
    }
    for (const Node& node : mNodes) {
        if (mHeld.contains(node.path)) continue;
        if (!mayWrite(node, mSide)) {
            hold(folderOf(node.path));
            continue;
        }
        Action action = actionFor(node);
        action.verb = Action::Verb::Delete;
        action.target = mSide;
        if (node.path == mTop.path) action.stats[mOther] = mTop.stats[mOther];
        if (node.agreed) action.entry = *node.agreed;
        mPlan.actions.push_back(std::move(action));
    }
    if (!isReplaced) return;
    Action action;
    action.target = mSide;
    action.job = mTop.job;
    action.path = mTop.path;
    action.stats = mTop.stats;
    action.entry = mTop.entry;
    mPlan.actions.push_back(std::move(action));
}

void Subtree::run()
{
    if (mTop.decision.jobEnd != JobEnd::None) endJob(mPlan, mTop.job, mTop.decision.jobEnd);
    if (mTop.decision.step == Step::KeptOut) return;
    if (mTop.decision.step == Step::Conflict) {
        mPlan.conflicts.push_back({{mTop.path, std::string{mTop.decision.conflict}}, mTop.stats});
        return;
    }
    Node top;
    top.path = mTop.path;
    top.job = mTop.job;
    top.stat = mTop.stats[mSide];
    top.entry = mTop.entry;
    mNodes.push_back(std::move(top));
    collect();
    if (mContext.stop.stop_requested()) return;

    Step step = mTop.decision.step;
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
    if (step == writeTo(mOther)) {
        create();
    } else {
        // Deepest first, so that a folder is known to be held before its turn comes.
        std::ranges::sort(mNodes, std::ranges::greater{}, &Node::path);
        remove();
    }
}

} // namespace

void planOneSidedFolder(const WalkContext& context, Plan& plan, const OneSidedFolder& folder)
{
    Subtree{context, plan, folder}.run();
}

} // namespace braid
