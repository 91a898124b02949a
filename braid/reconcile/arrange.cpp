#include "arrange.h"

#include <algorithm>
#include <unordered_map>

#include "braid/disk/content.h"
#include "braid/disk/extended.h"
#include "judge.h"

namespace braid
{

namespace
{

// Below this number nobody loses much by a deletion that was meant.
constexpr std::uint64_t kAlwaysAllowedDeletions = 10;

bool isCreation(const Action& action)
{
    return action.verb == Action::Verb::Copy && !action.stats[action.target].exists();
}

void dropEndedJobs(Plan& plan)
{
    const auto hasEnded = [&](const auto& planned) { return plan.jobEnds[planned.job] != JobEnd::None; };
    std::erase_if(plan.actions, hasEnded);
    std::erase_if(plan.folders, hasEnded);
}

using ReplacedFolders = std::set<std::pair<Peer, std::string>>;

/// Folders whose place a file or link takes.
ReplacedFolders replacedFolders(const Plan& plan)
{
    ReplacedFolders replaced;
    for (const Action& action : plan.actions) {
        if (action.verb == Action::Verb::Copy && action.stats[action.target].kind == Kind::Folder) {
            replaced.emplace(action.target, action.path);
        }
    }
    return replaced;
}

/// This deletion must come before something takes the place of a folder, so it cannot wait to be a move.
bool makesRoom(const Action& deletion, const ReplacedFolders& replaced)
{
    if (replaced.empty()) return false;
    for (std::string_view path = deletion.path; !path.empty(); path = folderOf(path)) {
        if (replaced.contains({deletion.target, std::string{path}})) return true;
    }
    return false;
}

/// The new file at `action.path` on the source side really is the one that lay at `old.path` when both agreed.
bool isSameFile(const WalkContext& context, const Action& action, const Action& old)
{
    const Peer source = otherPeer(action.target);
    const Stat& now = action.stats[source];
    const Entry& agreed = old.entry;
    const Stamp& stamp = agreed.stamps[source];
    if (agreed.kind != Kind::File || now.kind != Kind::File || now.inode != stamp.inode) return false;
    if (now.size != agreed.size || now.mtime != stamp.mtime || now.mode != stamp.mode || stamp.ctime == 0) return false;

    // The other side must hold what was agreed, too: an edit there may be deleted by a resolved conflict, not moved.
    const Stat& there = old.stats[old.target];
    const Stamp& stampThere = agreed.stamps[old.target];
    if (stampThere.ctime == 0 || there.ctime != stampThere.ctime || there.inode != stampThere.inode) return false;
    if (there.size != agreed.size || there.mtime != stampThere.mtime || there.mode != stampThere.mode) return false;

    const auto folder = context.homes[source]->openFolder(folderOf(action.path));
    if (!folder) return false;
    const std::string name{nameOf(action.path)};
    const auto attributes = extended::hashOf(folder->number(), name.c_str());
    if (!attributes || *attributes != stamp.attributes) return false;
    // Only the folders above it were renamed: nobody was at the file.
    if (now.ctime == stamp.ctime) return true;
    // Its own new name moved its ctime, and so may an edit have done that put the old time back.
    auto wanted = agreed.digest;
    if (!wanted) {
        const auto oldFolder = context.homes[old.target]->openFolder(folderOf(old.path));
        if (!oldFolder) return false;
        const auto held =
            digestFile(oldFolder->number(), std::string{nameOf(old.path)}.c_str(), old.stats[old.target], context.stop);
        if (!held) return false;
        wanted = *held;
    }
    const auto digest = digestFile(folder->number(), name.c_str(), now, context.stop);
    return digest && *digest == *wanted;
}

void joinMoves(const WalkContext& context, Plan& plan, const ReplacedFolders& replaced)
{
    PerPeer<std::unordered_map<std::uint64_t, std::size_t>> deleted; // by inode on the side that moved the file
    for (std::size_t i = 0; i < plan.actions.size(); ++i) {
        const Action& action = plan.actions[i];
        if (action.verb != Action::Verb::Delete || action.entry.kind != Kind::File) continue;
        if (makesRoom(action, replaced)) continue;
        deleted[action.target].emplace(action.entry.stamps[otherPeer(action.target)].inode, i);
    }
    if (deleted.local.empty() && deleted.network.empty()) return;

    std::vector<bool> isJoined(plan.actions.size());
    for (Action& action : plan.actions) {
        if (!isCreation(action) || action.stats[otherPeer(action.target)].kind != Kind::File) continue;
        auto& candidates = deleted[action.target];
        const auto found = candidates.find(action.stats[otherPeer(action.target)].inode);
        if (found == candidates.end()) continue;
        Action& old = plan.actions[found->second];
        if (old.job != action.job || !isSameFile(context, action, old)) continue;
        action.verb = Action::Verb::Move;
        action.from = old.path;
        action.fromStat = old.stats[old.target];
        action.entry = old.entry;
        isJoined[found->second] = true;
        candidates.erase(found);
    }
    std::size_t index = 0;
    std::erase_if(plan.actions, [&](const Action&) { return isJoined[index++]; });
}

void withholdMassDeletion(const WalkContext& context, Plan& plan)
{
    const auto isDeletion = [](const Action& action) { return action.verb == Action::Verb::Delete; };
    const std::uint64_t known = context.archive.countEntries();
    for (const Peer peer : kPeers) {
        const auto count = static_cast<std::uint64_t>(std::ranges::count_if(
            plan.actions, [&](const Action& action) { return isDeletion(action) && action.target == peer; }));
        if (count <= kAlwaysAllowedDeletions || count * 2 <= known) continue;
        std::erase_if(plan.actions, [&](const Action& action) {
            const bool needsRoom =
                action.verb == Action::Verb::Copy && action.stats[action.target].kind == Kind::Folder;
            return action.target == peer && (isDeletion(action) || needsRoom);
        });
        plan.conflicts.push_back({{".", std::string{conflicts::kMassDeletion}}, {}});
    }
}

} // namespace

bool pathLess(std::string_view one, std::string_view other)
{
    return std::ranges::lexicographical_compare(one, other, [](char a, char b) {
        const int left = a == '/' ? 0 : static_cast<unsigned char>(a) + 1;
        const int right = b == '/' ? 0 : static_cast<unsigned char>(b) + 1;
        return left < right;
    });
}

OrderedPlan arrange(const WalkContext& context, Plan& plan, bool allowsMassDeletion)
{
    dropEndedJobs(plan);
    joinMoves(context, plan, replacedFolders(plan));
    if (!allowsMassDeletion) withholdMassDeletion(context, plan);

    const ReplacedFolders replaced = replacedFolders(plan);
    OrderedPlan ordered;
    for (Action& action : plan.actions) {
        switch (action.verb) {
        case Action::Verb::MakeFolder:
            ordered.folders.push_back(std::move(action));
            break;
        case Action::Verb::Copy:
        case Action::Verb::Move:
            ordered.items.push_back(std::move(action));
            break;
        case Action::Verb::Restamp:
            ordered.restamps.push_back(std::move(action));
            break;
        case Action::Verb::Delete:
            (makesRoom(action, replaced) ? ordered.makeRoom : ordered.deletions).push_back(std::move(action));
            break;
        }
    }
    plan.actions.clear();
    for (auto* list : {&ordered.folders, &ordered.items, &ordered.restamps}) {
        std::ranges::sort(*list, pathLess, &Action::path);
    }
    const auto backwards = [](std::string_view one, std::string_view other) { return pathLess(other, one); };
    for (auto* list : {&ordered.makeRoom, &ordered.deletions})
        std::ranges::sort(*list, backwards, &Action::path);
    std::ranges::sort(plan.folders, backwards, &FolderFinish::path);
    return ordered;
}

} // namespace braid
