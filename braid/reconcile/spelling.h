#pragma once

#include <optional>
#include <string>
#include <vector>

#include "braid/archive/archive.h"
#include "braid/disk/listing.h"
#include "braid/peers.h"
#include "braid/text/folding.h"

namespace braid
{

/// One item of a folder, with what each of three opinions holds of it.
struct Row {
    const std::string* name = nullptr; ///< In both homes; where their spellings differ, see settle().
    const Entry* entry = nullptr;
    const std::string* agreedAs = nullptr; ///< The entry's name.
    PerPeer<const Listing::Item*> items;
    bool leadsSomewhere = true; ///< Under this name some job has to do with it.
    /// The home whose item this is, where the other home cannot hold it besides another one that it takes for the same;
    /// that is the other item here, if it has it already.
    std::optional<Peer> collidesIn;

    bool isSpelledAlike() const;
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
        Row row;
        row.name = row.agreedAs = least;
        if (e < entries.size() && entries[e].name == *least) row.entry = &entries[e++].entry;
        for (const Peer peer : kPeers) {
            const auto& items = listings[peer].items;
            if (at[peer] < items.size() && items[at[peer]].name == *least) row.items[peer] = &items[at[peer]++];
        }
        visit(row);
    }
}

/// The rows of a folder of which a home folds names: those that it takes for the same become one where both homes have
/// one such item; what is left over in a home that keeps them apart collides.
std::vector<Row> joinSpellings(const std::vector<Row>& rows, const PerPeer<text::NameFolding>& folding);

/// How the name of a row is to be spelled in both homes.
struct Spelling {
    std::string name;
    std::optional<Peer>
        loser; ///< The home that spells it in another way than it should; nothing: none needs to change.
};

/// Whoever renamed the item wins; where that cannot be told, `preferred`. Both homes must have it. Another normal form
/// of the same characters is no other spelling, since some servers have one of their own.
Spelling settle(const Row& row, const PerPeer<text::NameFolding>& folding, Peer preferred);
/// The same without a change in any home.
std::string presentSpelling(const Row& row, const PerPeer<text::NameFolding>& folding);

} // namespace braid
