#pragma once

#include <memory>
#include <string>

#include "listing.h"

namespace braid
{

/// A listing that was asked for.
class PendingListing
{
public:
    PendingListing() = default;
    /// Reads the folder here and now if nobody has begun with it, else waits. To be called once.
    Listing get();
    bool isRequested() const { return mRequest != nullptr; }
    /// get() would answer at once.
    bool isReady() const;

    struct Request;

private:
    friend class ListingPool;
    std::shared_ptr<Request> mRequest;
};

/// Reads folders of one home ahead, since on a file server each answer takes a round trip. How many requests are under
/// way at once follows from how long an answer takes: on a local disk more than one would only get in the way of the
/// caller, while a server that is 20 ms away needs dozens. On a system that is not concurrent all is read at once.
class ListingPool
{
public:
    ListingPool();
    ~ListingPool(); ///< Waits for the requests under way.
    ListingPool(const ListingPool&) = delete;
    ListingPool& operator=(const ListingPool&) = delete;

    /// What was asked for last is read first. `root` stays open until the answer is there.
    PendingListing request(int root, std::uint64_t device, std::string path);

    static constexpr unsigned kMostThreads = 64;

private:
    struct Shared;
    std::unique_ptr<Shared> mShared;
};

} // namespace braid
