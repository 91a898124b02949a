#include "spelling.h"

#include <algorithm>

namespace braid
{

namespace
{

using Group = std::vector<const Row*>;

std::size_t countIn(const Group& group, Peer peer)
{
    return static_cast<std::size_t>(std::ranges::count_if(group, [&](const Row* row) { return row->items[peer]; }));
}

bool isWhole(const Row& row)
{
    return row.items.local && row.items.network;
}

bool isInode(const Listing::Item* item, const Entry* entry, Peer peer)
{
    return item && entry && item->stat.inode == entry->stamps[peer].inode;
}

/// Spelled alike as far as the homes can keep a spelling.
bool isSame(const std::string& one, const std::string& other, const PerPeer<text::NameFolding>& folding)
{
    if (one == other) return true;
    for (const Peer peer : kPeers) {
        if (folding[peer].folds() && !folding[peer].keepsCase) return true;
    }
    const bool dropsEnds = folding.local.dropsEnds || folding.network.dropsEnds;
    const bool foldsForm = folding.local.foldsForm || folding.network.foldsForm;
    const auto meant = [&](std::string_view name) {
        if (dropsEnds) name = text::withoutEnd(name);
        return foldsForm ? text::composed(name) : std::string{name};
    };
    return meant(one) == meant(other);
}

/// The row whose item in the home that keeps names apart is the same as the only one of the other home.
const Row* findLeader(const Group& group, Peer apart, const PerPeer<text::NameFolding>& folding)
{
    const Peer other = otherPeer(apart);
    const auto single = std::ranges::find_if(group, [&](const Row* row) { return row->items[other]; });
    const Listing::Item* there = single == group.end() ? nullptr : (*single)->items[other];
    const auto first = [&](auto holds) -> const Row* {
        const auto found = std::ranges::find_if(
            group, [&](const Row* row) { return row->items[apart] && row->leadsSomewhere && holds(*row); });
        return found == group.end() ? nullptr : *found;
    };
    const auto wasRenamedHere = [&](const Row& row) {
        return std::ranges::any_of(group,
                                   [&](const Row* known) { return isInode(row.items[apart], known->entry, apart); });
    };
    const Row* leader = first([](const Row& row) { return isWhole(row) && row.entry; });
    if (!leader && there) leader = first([&](const Row& row) { return isInode(there, row.entry, other); });
    if (!leader) leader = first(isWhole);
    if (!leader && there) leader = first(wasRenamedHere);
    if (!leader) leader = first([](const Row& row) { return row.entry != nullptr; });
    if (!leader && there) leader = first([&](const Row& row) { return isSame(*row.name, there->name, folding); });
    return leader ? leader : first([](const Row&) { return true; });
}

using Rows = std::vector<Row>;

void leave(const Group& group, Rows& rows)
{
    for (const Row* row : group)
        rows.push_back(*row);
}

/// The leader's item and the only one of the other home as one row, and the entries that are about neither as rows of
/// their own.
void join(const Group& group, const Row& leader, const Row& partner, Peer apart, Rows& rows)
{
    Row whole = leader;
    whole.items[otherPeer(apart)] = partner.items[otherPeer(apart)];
    const auto entries = std::ranges::count_if(group, [](const Row* row) { return row->entry != nullptr; });
    if (!(isWhole(leader) && leader.entry)) whole.entry = nullptr;
    if (!whole.entry && entries == 1) {
        const Row& known = **std::ranges::find_if(group, [](const Row* row) { return row->entry != nullptr; });
        // An item that no job has to do with, and that is still there, keeps its entry.
        const bool isAnothers = &known != &leader && known.items[apart] && !known.leadsSomewhere;
        if (!isAnothers) {
            whole.entry = known.entry;
            whole.agreedAs = known.name;
        }
    }
    rows.push_back(whole);
    for (const Row* row : group) {
        if (!row->entry || row->entry == whole.entry) continue;
        const bool isLoser = row != &leader && row->items[apart];
        if (isLoser) continue; // comes with its entry
        Row left;
        left.name = row->name;
        left.entry = row->entry;
        left.agreedAs = row->name;
        rows.push_back(left);
    }
}

/// The home takes all these names for the same.
bool foldsAll(const Group& group, const text::NameFolding& folding)
{
    if (!folding.folds()) return false;
    const std::string key = text::foldName(*group.front()->name, folding);
    return std::ranges::all_of(group, [&](const Row* row) { return text::foldName(*row->name, folding) == key; });
}

void take(const Group& group, const PerPeer<text::NameFolding>& folding, Rows& rows)
{
    // With one item at most, nobody can have renamed what the other home still has.
    const PerPeer<std::size_t> counts{countIn(group, Peer::Local), countIn(group, Peer::Network)};
    if (group.size() == 1 || counts.local + counts.network < 2) return leave(group, rows);
    const PerPeer<bool> folds{foldsAll(group, folding.local), foldsAll(group, folding.network)};
    // A home that holds two of them tells them apart after all.
    const bool isTooCoarse = std::ranges::any_of(kPeers, [&](Peer peer) { return folds[peer] && counts[peer] > 1; });
    if (isTooCoarse || (!folds.local && !folds.network)) return leave(group, rows);

    const Peer apart = folds.local ? Peer::Network : Peer::Local;
    const Peer other = otherPeer(apart);
    const auto partner = std::ranges::find_if(group, [&](const Row* row) { return row->items[other]; });
    const bool isPaired = partner != group.end();
    // What no job has to do with keeps its name in both homes all the same.
    const bool isTaken = isPaired && isWhole(**partner) && !(*partner)->leadsSomewhere;
    const Row* first = isTaken ? *partner : findLeader(group, apart, folding);
    if (!first) return leave(group, rows); // what the one home has is none of this pass's business
    if (isPaired && !isTaken) {
        join(group, *first, **partner, apart, rows);
    } else if (!isPaired) {
        // Those that were agreed on are gone from the other home, which leaves room for one new item.
        const auto isNew = [&](const Row* row) { return row->items[apart] && row->leadsSomewhere && !row->entry; };
        const auto found = std::ranges::find_if(group, isNew);
        first = found == group.end() ? nullptr : *found;
    }
    for (const Row* row : group) {
        const bool isHere = row->items[apart] != nullptr;
        if (isPaired && !isTaken && (row == first || !isHere)) continue; // joined
        const bool staysAsItIs = row == first || !isHere || !row->leadsSomewhere || (!isPaired && row->entry);
        rows.push_back(*row);
        if (staysAsItIs) continue;
        if (isPaired) rows.back().items[other] = (*partner)->items[other];
        rows.back().collidesIn = apart;
    }
}

} // namespace

bool Row::isSpelledAlike() const
{
    if (entry && agreedAs != name && *agreedAs != *name) return false;
    return std::ranges::all_of(kPeers, [&](Peer peer) { return !items[peer] || items[peer]->name == *name; });
}

std::vector<Row> joinSpellings(const std::vector<Row>& rows, const PerPeer<text::NameFolding>& folding)
{
    const text::NameFolding both{folding.local.foldsCase || folding.network.foldsCase,
                                 folding.local.foldsForm || folding.network.foldsForm, true,
                                 folding.local.dropsEnds || folding.network.dropsEnds};
    std::vector<std::pair<std::string, const Row*>> keys;
    keys.reserve(rows.size());
    for (const Row& row : rows)
        keys.emplace_back(text::foldName(*row.name, both), &row);
    std::ranges::stable_sort(keys, {}, &std::pair<std::string, const Row*>::first);
    Rows joined;
    joined.reserve(rows.size());
    for (std::size_t at = 0; at < keys.size();) {
        Group group;
        const std::string& key = keys[at].first;
        for (; at < keys.size() && keys[at].first == key; ++at)
            group.push_back(keys[at].second);
        take(group, folding, joined);
    }
    return joined;
}

std::string presentSpelling(const Row& row, const PerPeer<text::NameFolding>& folding)
{
    const auto& [local, network] = row.items;
    if (!local || !network) return local ? local->name : network ? network->name : *row.name;
    const auto isSameIn = [&](Peer peer) {
        return text::foldName(local->name, folding[peer]) == text::foldName(network->name, folding[peer]);
    };
    // Where names are kept apart, only the item's own name leads to it.
    if (!isSameIn(Peer::Network)) return network->name;
    if (!isSameIn(Peer::Local)) return local->name;
    return row.entry && row.agreedAs && *row.agreedAs == network->name ? network->name : local->name;
}

Spelling settle(const Row& row, const PerPeer<text::NameFolding>& folding, Peer preferred)
{
    const std::string& local = row.items.local->name;
    const std::string& network = row.items.network->name;
    if (isSame(local, network, folding)) return {presentSpelling(row, folding), std::nullopt};
    Peer winner = preferred;
    if (row.entry && isSame(*row.agreedAs, network, folding)) winner = Peer::Local;
    if (row.entry && isSame(*row.agreedAs, local, folding)) winner = Peer::Network;
    const Peer loser = otherPeer(winner);
    Spelling spelling{row.items[winner]->name, loser};
    const std::string& changed = row.items[loser]->name;
    // A server's own form is no reason to change that of this computer.
    if (folding[winner].foldsForm && changed == text::composed(changed)) spelling.name = text::composed(spelling.name);
    return spelling;
}

} // namespace braid
