#pragma once

#include <functional>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "facts.h"
#include "problem.h"

namespace braid
{

/// What a folder holds, sorted by the bytes of the names. The engine's own names are left out.
struct Listing {
    struct Item {
        std::string name;
        Stat stat;
        int error = 0; ///< errno where the item could not be looked at; `stat` then says nothing.
    };

    std::optional<Problem> problem; ///< Set: the folder could not be read to its end, and `items` proves nothing.
    std::vector<Item> items;
    bool hasOwnNames = false; ///< Holds names that never sync.
};

/// `.Braid` in any case, `.vexlc` and names that begin with `.fstemp` stay where they are.
bool neverSyncs(std::string_view name);

/// Fills in what can be told of each item in the open folder.
void lookAt(int folder, std::span<Listing::Item> items);

/// Reads the folder `path` below `root`. Folders on another device are of kind Other. `lookAtAll` may look at the items
/// in a way of its own. With `joinsJournals` databases speak for their journals.
Listing listFolder(int root, std::uint64_t device, const std::string& path,
                   const std::function<void(int folder, std::span<Listing::Item> items)>& lookAtAll = lookAt,
                   bool joinsJournals = false);

} // namespace braid
