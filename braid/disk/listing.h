#pragma once

#include <future>
#include <memory>
#include <optional>
#include <string>
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

/// `.Braid`, `.vexlc` and names that begin with `.fstemp` stay where they are.
bool neverSyncs(std::string_view name);

/// Reads the folder `path` below `root`. Folders on another device are of kind Other.
Listing listFolder(int root, std::uint64_t device, const std::string& path);

/// Reads folders ahead on a few threads, since on a file server each answer takes a round trip; without threads at
/// once, as on a system that is not concurrent.
class ListingPool
{
public:
    explicit ListingPool(unsigned threads);
    ~ListingPool(); ///< Waits for the requests under way.
    ListingPool(const ListingPool&) = delete;
    ListingPool& operator=(const ListingPool&) = delete;

    /// `root` stays open until the answer is there.
    std::future<Listing> request(int root, std::uint64_t device, std::string path);

private:
    struct Shared;
    std::unique_ptr<Shared> mShared;
};

} // namespace braid
