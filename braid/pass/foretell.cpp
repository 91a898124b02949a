#include "foretell.h"

#include <cerrno>
#include <set>

namespace braid
{

namespace
{

using What = PlannedChange::What;

class Foretelling
{
public:
    Foretelling(const Plan& plan, const Coverage& coverage, const PerPeer<Home*>& homes)
        : mPlan(plan), mCoverage(coverage), mHomes(homes)
    {
    }

    std::vector<PlannedChange> run();

private:
    void add(What what, Peer where, const std::string& path, const std::string& from = {});
    void addMissingParents(Peer where, const std::string& path);
    void addWrite(const Action& action);
    void addAttributes(const Action& action);
    void addFinish(const FolderFinish& finish);

    const Plan& mPlan;
    const Coverage& mCoverage;
    const PerPeer<Home*>& mHomes;
    PerPeer<std::set<std::string>> mMadeOnTheWay;
    std::vector<PlannedChange> mChanges;
};

void Foretelling::add(What what, Peer where, const std::string& path, const std::string& from)
{
    mChanges.push_back({what, where, path, from});
}

/// Folders that belong to no job are in no list: they are made when something below them needs them.
void Foretelling::addMissingParents(Peer where, const std::string& path)
{
    const std::string parent{folderOf(path)};
    if (parent.empty() || mCoverage.jobOfPath(parent) || mMadeOnTheWay[where].contains(parent)) return;
    const auto folder = mHomes[where]->openFolder(parent);
    if (folder || folder.problem().code != ENOENT) return;
    mMadeOnTheWay[where].insert(parent);
    addMissingParents(where, parent);
    add(What::Create, where, parent);
}

void Foretelling::addWrite(const Action& action)
{
    const bool isThere = action.stats[action.target].exists();
    if (!isThere) addMissingParents(action.target, action.path);
    if (action.verb == Action::Verb::Move) {
        add(What::Rename, action.target, action.path, action.from);
    } else {
        add(isThere ? What::Update : What::Create, action.target, action.path);
    }
    addAttributes(action);
}

void Foretelling::addAttributes(const Action& action)
{
    if (action.toLocal != 0) add(What::Attributes, Peer::Local, action.path);
    if (action.toNetwork != 0) add(What::Attributes, Peer::Network, action.path);
}

void Foretelling::addFinish(const FolderFinish& finish)
{
    for (const Peer peer : kPeers) {
        if (finish.restamped[peer] || finish.mtime[peer] == finish.stats[peer].mtime) continue;
        if (decideWrite(peer, mCoverage.job(finish.job).options).step == Step::KeptOut) continue;
        add(What::Attributes, peer, finish.path);
    }
}

std::vector<PlannedChange> Foretelling::run()
{
    for (const Respelling& each : mPlan.respellings) {
        if (each.target) add(What::Rename, *each.target, each.path, joinPath(folderOf(each.path), each.from));
    }
    const auto deletion = [&](ActionList::Index, const Action& action) {
        add(What::Delete, action.target, action.path);
    };
    const auto write = [&](ActionList::Index, const Action& action) { addWrite(action); };
    PerPeer<std::set<std::string>> replacedFolders; // their own deletion is a step on the way
    mPlan.items.each([&](ActionList::Index, const Action& action) {
        if (action.stats[action.target].kind == Kind::Folder) replacedFolders[action.target].insert(action.path);
    });
    mPlan.makeRoom.each([&](ActionList::Index index, const Action& action) {
        if (!replacedFolders[action.target].contains(action.path)) deletion(index, action);
    });
    mPlan.folders.each(write);
    mPlan.items.each(write);
    mPlan.restamps.each([&](ActionList::Index, const Action& action) { addAttributes(action); });
    mPlan.links.each(write);
    mPlan.deletions.each(deletion);
    for (const FolderFinish& finish : mPlan.finishes)
        addFinish(finish);
    return std::move(mChanges);
}

bool saysTheSame(const Entry& agreed, const Action& seen)
{
    const Entry& now = seen.entry;
    if (agreed.kind != now.kind) return false;
    if (agreed.digest && now.digest && *agreed.digest != *now.digest) return false;
    for (const Peer peer : kPeers) {
        const Stamp& one = agreed.stamps[peer];
        const Stamp& other = now.stamps[peer];
        if (one.mode != other.mode || one.attributes != other.attributes) return false;
        if (now.kind != Kind::Folder && one.mtime != other.mtime) return false;
    }
    const bool hasSize = now.kind == Kind::File && seen.stats.local.journals == Journals::None;
    return !hasSize || agreed.size == now.size;
}

} // namespace

std::vector<PlannedChange> foretell(const Plan& plan, const Coverage& coverage, const PerPeer<Home*>& homes)
{
    return Foretelling{plan, coverage, homes}.run();
}

std::vector<std::string> unknownToArchive(const Plan& plan, Archive& archive, bool trustsArchive)
{
    std::vector<std::string> paths;
    plan.records.each([&](ActionList::Index, const Action& action) {
        const auto agreed = trustsArchive ? archive.find(action.path) : std::nullopt;
        if (!agreed || !saysTheSame(*agreed, action)) paths.push_back(action.path);
    });
    paths.insert(paths.end(), plan.forgets.begin(), plan.forgets.end());
    for (const Respelling& each : plan.respellings) {
        if (!each.target) paths.push_back(each.path);
    }
    return paths;
}

} // namespace braid
