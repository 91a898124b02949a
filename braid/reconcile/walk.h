#pragma once

#include <functional>
#include <stop_token>
#include <string>

#include "braid/disk/listing_pool.h"
#include "braid/home/home.h"
#include "braid/jobs/coverage.h"
#include "judge.h"
#include "plan.h"
#include "read_files.h"

namespace braid
{

/// What the walk works with. Everything is borrowed.
struct WalkContext {
    PerPeer<Home*> homes;
    Archive& archive;
    const Coverage& coverage;
    PerPeer<ListingPool>& pools;
    Reading& reading;
    std::stop_token stop;
    bool trustsArchive = true; ///< False: a first sync, nothing was ever agreed and nothing is deleted.
    std::function<void(const std::string& folder)> onFolder;
    const Coverage* lastCoverage = nullptr; ///< The last pass's, if it was another one.

    std::vector<NamedEntry> agreedIn(std::string_view folder) const
    {
        return trustsArchive ? archive.children(folder) : std::vector<NamedEntry>{};
    }
    /// What is said to be agreed on an item that a job covers. Nothing where no job of the last pass did and a side has
    /// changed since: what people did to it then was not meant for the other home.
    const Entry* trusted(const Entry* entry, const std::string& path, const PerPeer<Stat>& stats) const;
    PendingListing list(Peer peer, const std::string& folder) const
    {
        return pools[peer].request(homes[peer]->root(), homes[peer]->device(), folder);
    }
};

/// Where a folder is found as long as the respellings above it are still to be done.
struct Whereabouts {
    PerPeer<std::string> at;
    std::string agreed; ///< In the archive.
};

/// Walks both homes side by side, folder by folder, together with the archive, and plans what is to be done. Writes
/// nothing. After a stop request the plan is cut short and must not be used.
Plan planPass(const WalkContext& context);

/// Adds an error about an item, in words.
void addError(Plan& plan, const std::string& path, Peer peer, const Problem& problem);

/// Leaves an item alone that the other home cannot hold besides what it takes for the same.
void addCollision(const WalkContext& context, Plan& plan, const std::string& path, std::size_t job, Peer side,
                  const PerPeer<Stat>& stats);

/// Notes that a job must end before its first write.
void endJob(Plan& plan, std::size_t job, JobEnd end);

} // namespace braid
