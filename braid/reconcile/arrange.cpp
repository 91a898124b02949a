#include "arrange.h"

#include <algorithm>
#include <string>
#include <unordered_map>
#include <unordered_set>

#include "braid/disk/content.h"
#include "braid/disk/extended.h"
#include "judge.h"
#include "other_names.h"

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

/// Folders that keep something which would have been deleted with them.
using HeldFolders = PerPeer<std::unordered_set<std::string>>;

void hold(HeldFolders& held, const Action& deletion)
{
    for (std::string_view above = folderOf(deletion.path); !above.empty(); above = folderOf(above)) {
        if (!held[deletion.target].emplace(above).second) return;
    }
}

void dropDeletionsOf(const HeldFolders& held, Plan& plan)
{
    plan.items.each([&](ActionList::Index index, const Action& action) {
        // The file or link cannot take the folder's place, so what is left in there stays with it.
        if (action.stats[action.target].kind != Kind::Folder || !held[action.target].contains(action.path)) return;
        plan.items.drop(index);
        plan.makeRoom.each([&](ActionList::Index inside, const Action& deletion) {
            if (deletion.target == action.target && liesBelow(deletion.path, action.path)) plan.makeRoom.drop(inside);
        });
    });
    for (ActionList* list : {&plan.makeRoom, &plan.deletions}) {
        list->each([&](ActionList::Index index, const Action& action) {
            if (held[action.target].contains(action.path)) list->drop(index);
        });
    }
}

void dropEndedJobs(Plan& plan)
{
    const auto hasEnded = [&](const auto& planned) { return plan.jobEnds[planned.job] != JobEnd::None; };
    if (std::ranges::all_of(plan.jobEnds, [](JobEnd end) { return end == JobEnd::None; })) return;
    HeldFolders held;
    for (ActionList* list : {&plan.makeRoom, &plan.folders, &plan.items, &plan.restamps, &plan.deletions}) {
        list->each([&](ActionList::Index index, const Action& action) {
            if (!hasEnded(action)) return;
            list->drop(index);
            if (list == &plan.makeRoom || list == &plan.deletions) hold(held, action);
        });
    }
    dropDeletionsOf(held, plan);
    std::erase_if(plan.finishes, hasEnded);
    // What belongs to other jobs has not got the path yet that is planned with.
    PathSet withdrawn;
    for (const Respelling& each : plan.respellings) {
        if (hasEnded(each)) withdrawn.insert(each.path);
    }
    plan.withdraw(withdrawn);
}

/// The new file at `action.path` on the source side really is the one that lay at `old.path` when both agreed.
bool isSameFile(const WalkContext& context, const Action& action, const Action& old)
{
    const Peer source = otherPeer(action.target);
    const Stat& now = action.stats[source];
    const Entry& agreed = old.entry;
    const Stamp& stamp = agreed.stamps[source];
    if (now.journals != Journals::None || old.stats[old.target].journals != Journals::None) return false;
    if (agreed.kind != Kind::File || now.kind != Kind::File || now.inode != stamp.inode) return false;
    if (now.size != agreed.size || now.mtime != stamp.mtime || now.mode != stamp.mode) return false;

    // The other side must hold what was agreed, too: an edit there may be deleted by a resolved conflict, not moved.
    const Stat& there = old.stats[old.target];
    const Stamp& stampThere = agreed.stamps[old.target];
    if (there.inode != stampThere.inode || there.size != agreed.size) return false;
    if (there.mtime != stampThere.mtime || there.mode != stampThere.mode) return false;
    const bool isSureThere = stampThere.ctime != 0;
    if (isSureThere ? there.ctime != stampThere.ctime : !agreed.digest) return false;

    const auto folder = context.homes[source]->openFolder(folderOf(action.path));
    if (!folder) return false;
    const std::string name{nameOf(action.path)};
    const auto attributes = extended::hashOf(folder->number(), name.c_str());
    if (!attributes || *attributes != stamp.attributes) return false;
    // Only the folders above it were renamed: nobody was at the file.
    if (now.ctime == stamp.ctime && isSureThere) return true;
    // Its own new name moved its ctime, and so may an edit have done that put the old time back.
    auto wanted = agreed.digest;
    if (!wanted || !isSureThere) {
        const auto oldFolder = context.homes[old.target]->openFolder(folderOf(old.path));
        if (!oldFolder) return false;
        const std::string oldName{nameOf(old.path)};
        const auto attributesThere = extended::hashOf(oldFolder->number(), oldName.c_str());
        if (!attributesThere || *attributesThere != stampThere.attributes) return false;
        const auto held = digestFile(oldFolder->number(), oldName.c_str(), there, context.stop);
        if (!held || (wanted && *held != *wanted)) return false;
        wanted = *held;
    }
    const auto digest = digestFile(folder->number(), name.c_str(), now, context.stop);
    return digest && *digest == *wanted;
}

void joinMoves(const WalkContext& context, Plan& plan)
{
    PerPeer<std::unordered_map<std::uint64_t, ActionList::Index>> deleted; // by inode on the side that moved the file
    plan.deletions.each([&](ActionList::Index index, const Action& action) {
        if (action.entry.kind != Kind::File) return;
        deleted[action.target].emplace(action.entry.stamps[otherPeer(action.target)].inode, index);
    });
    if (deleted.local.empty() && deleted.network.empty()) return;

    plan.items.each([&](ActionList::Index index, Action action) {
        if (!isCreation(action) || action.stats[otherPeer(action.target)].kind != Kind::File) return;
        auto& candidates = deleted[action.target];
        const auto found = candidates.find(action.stats[otherPeer(action.target)].inode);
        if (found == candidates.end()) return;
        const Action old = plan.deletions[found->second];
        if (old.job != action.job || !isSameFile(context, action, old)) return;
        action.verb = Action::Verb::Move;
        action.from = old.path;
        action.fromStat = old.stats[old.target];
        action.entry = old.entry;
        plan.items.replace(index, action);
        plan.deletions.drop(found->second);
        candidates.erase(found);
    });
}

void stopMassDeletion(const WalkContext& context, Plan& plan)
{
    PerPeer<std::uint64_t> counts;
    for (const ActionList* list : {&plan.makeRoom, &plan.deletions}) {
        list->each([&](ActionList::Index, const Action& action) { ++counts[action.target]; });
    }
    // A folder that was renamed is made under its new name, and nothing is lost with the old one.
    plan.folders.each([&](ActionList::Index, const Action& action) {
        if (counts[action.target] > 0) --counts[action.target];
    });
    if (std::max(counts.local, counts.network) <= kAlwaysAllowedDeletions) return;
    const std::uint64_t known = context.archive.countEntries();
    const auto looksLikeAnAccident = [&](Peer peer) {
        return counts[peer] > kAlwaysAllowedDeletions && counts[peer] * 2 > known;
    };
    if (!std::ranges::any_of(kPeers, looksLikeAnAccident)) return;
    // Whatever happened to that home may have happened to what is left of it as well: nothing goes out until a person
    // has looked.
    for (ActionList* list :
         {&plan.makeRoom, &plan.folders, &plan.items, &plan.restamps, &plan.links, &plan.deletions, &plan.records}) {
        *list = {};
    }
    plan.respellings.clear();
    plan.forgets.clear();
    plan.finishes.clear();
    plan.conflicts.push_back({{".", std::string{conflicts::kMassDeletion}}, {}});
}

/// Parents before what they hold.
bool pathLess(std::string_view one, std::string_view other)
{
    return std::ranges::lexicographical_compare(one, other, [](char a, char b) {
        const int left = a == '/' ? 0 : static_cast<unsigned char>(a) + 1;
        const int right = b == '/' ? 0 : static_cast<unsigned char>(b) + 1;
        return left < right;
    });
}

} // namespace

void arrange(const WalkContext& context, Plan& plan, bool allowsMassDeletion)
{
    dropEndedJobs(plan);
    joinMoves(context, plan);
    joinOtherNames(context, plan);
    if (!allowsMassDeletion) stopMassDeletion(context, plan);
    const auto backwards = [](std::string_view one, std::string_view other) { return pathLess(other, one); };
    std::ranges::sort(plan.finishes, backwards, &FolderFinish::path);
}

} // namespace braid
