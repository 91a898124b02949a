#include "other_names.h"

#include <algorithm>
#include <map>
#include <string_view>
#include <unordered_map>
#include <unordered_set>

#include "judge.h"

namespace braid
{

namespace
{

class OtherNames
{
public:
    OtherNames(const WalkContext& context, Plan& plan) : mContext(context), mPlan(plan) {}

    void run();

private:
    void copyRatherThanRestamp();
    void findCopies();
    void findNamesInStep();
    void findNamesInArchive();
    void takeAsInStep(Peer target, const Action& action);
    bool mayWrite(Peer target, std::optional<std::size_t> job) const;
    void link();

    const WalkContext& mContext;
    Plan& mPlan;
    // Both by the home that is copied to, and the inode in the other one.
    PerPeer<std::unordered_map<std::uint64_t, ActionList::Index>> mFirst; ///< Of the copies of a file's names.
    PerPeer<std::unordered_map<std::uint64_t, std::string>> mInStep;      ///< A name of the file that is there already.
};

/// Turns paths that the archive knows now into those that it will know once the plan's respellings are done.
class Respelled
{
public:
    explicit Respelled(const std::vector<Respelling>& respellings)
    {
        for (const Respelling& each : respellings) {
            if (!each.agreedAs.empty()) mNames[joinPath(folderOf(each.path), each.agreedAs)] = nameOf(each.path);
        }
    }

    std::string operator()(std::string_view path) const
    {
        std::string respelled;
        while (!path.empty()) {
            const std::string_view name = path.substr(0, path.find('/'));
            path.remove_prefix(std::min(path.size(), name.size() + 1));
            const auto other = mNames.find(joinPath(respelled, name));
            respelled = joinPath(respelled, other == mNames.end() ? name : other->second);
        }
        return respelled;
    }

private:
    std::map<std::string, std::string> mNames; ///< New by old, which stands in the new path of its folder.
};

/// Without the journals of a database, which belong to one name only.
bool isLinkedFile(const Stat& stat)
{
    return stat.linked && stat.journals == Journals::None;
}

bool isLinkedCopy(const Action& action)
{
    return action.verb == Action::Verb::Copy && isLinkedFile(action.stats[otherPeer(action.target)]) &&
           action.stats[action.target].journals == Journals::None;
}

void OtherNames::copyRatherThanRestamp()
{
    mPlan.restamps.each([&](ActionList::Index index, Action action) {
        if (action.keptOut != 0 || (action.toLocal != 0) == (action.toNetwork != 0)) return;
        action.target = action.toLocal != 0 ? Peer::Local : Peer::Network;
        if (!isLinkedFile(action.stats[action.target])) return;
        action.verb = Action::Verb::Copy;
        action.toLocal = action.toNetwork = 0;
        mPlan.items.add(action);
        mPlan.restamps.drop(index);
    });
}

void OtherNames::findCopies()
{
    mPlan.items.each([&](ActionList::Index index, const Action& action) {
        if (!isLinkedCopy(action)) return;
        mFirst[action.target].try_emplace(action.stats[otherPeer(action.target)].inode, index);
    });
}

bool OtherNames::mayWrite(Peer target, std::optional<std::size_t> job) const
{
    if (!job || mPlan.jobEnds[*job] != JobEnd::None) return false;
    return decideWrite(target, mContext.coverage.job(*job).options).step == writeTo(target);
}

void OtherNames::takeAsInStep(Peer target, const Action& action)
{
    const Stat& source = action.stats[otherPeer(target)];
    if (!isLinkedFile(source) || !mFirst[target].contains(source.inode) || !mayWrite(target, action.job)) return;
    mInStep[target].try_emplace(source.inode, action.path);
}

void OtherNames::findNamesInStep()
{
    for (const ActionList* list : {&mPlan.records, &mPlan.restamps}) {
        list->each([&](ActionList::Index, const Action& action) {
            for (const Peer target : kPeers)
                if (action.stats[target].kind == Kind::File) takeAsInStep(target, action);
        });
    }
    mPlan.items.each([&](ActionList::Index, const Action& action) {
        if (action.verb == Action::Verb::Move) takeAsInStep(action.target, action);
    });
    if (mContext.trustsArchive) findNamesInArchive();
}

/// Those that this pass need not even tell the archive of.
void OtherNames::findNamesInArchive()
{
    PerPeer<std::unordered_set<std::uint64_t>> inodes; // by the home that they are copied from
    for (const Peer target : kPeers) {
        for (const auto& [inode, first] : mFirst[target])
            if (!mInStep[target].contains(inode)) inodes[otherPeer(target)].insert(inode);
    }
    if (inodes.local.empty() && inodes.network.empty()) return;
    const Respelled respelled{mPlan.respellings};
    for (const NamedEntry& found : mContext.archive.filesOf(inodes)) {
        const std::string path = respelled(found.name);
        for (const Peer target : kPeers) {
            const Peer source = otherPeer(target);
            const auto first = mFirst[target].find(found.entry.stamps[source].inode);
            if (first == mFirst[target].end()) continue;
            const Action copy = mPlan.items[first->second];
            const bool isAgreed = stillLooksLike(copy.stats[source], found.entry, source) &&
                                  found.entry.stamps[target].ctime != 0 && path != copy.path;
            if (isAgreed && mayWrite(target, mContext.coverage.jobOfPath(path)))
                mInStep[target].try_emplace(first->first, path);
        }
    }
}

void OtherNames::link()
{
    mPlan.items.each([&](ActionList::Index index, Action action) {
        if (!isLinkedCopy(action)) return;
        const std::uint64_t inode = action.stats[otherPeer(action.target)].inode;
        const ActionList::Index first = mFirst[action.target].at(inode);
        const auto inStep = mInStep[action.target].find(inode);
        if (inStep != mInStep[action.target].end()) {
            action.from = inStep->second;
        } else if (index != first) {
            action.from = mPlan.items[first].path;
        } else {
            return;
        }
        action.verb = Action::Verb::Link;
        mPlan.links.add(action);
        mPlan.items.drop(index);
    });
}

void OtherNames::run()
{
    copyRatherThanRestamp();
    mPlan.restamps.compact();
    findCopies();
    if (mFirst.local.empty() && mFirst.network.empty()) return;
    findNamesInStep();
    link();
    mPlan.items.compact();
}

} // namespace

void joinOtherNames(const WalkContext& context, Plan& plan)
{
    OtherNames{context, plan}.run();
}

} // namespace braid
