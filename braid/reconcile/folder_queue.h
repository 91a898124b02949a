#pragma once

#include <deque>
#include <memory>
#include <optional>
#include <string>

#include "walk.h"

namespace braid
{

/// A folder of either home or both whose content is to be gone through.
struct FolderTask {
    std::string path;
    std::shared_ptr<const Whereabouts> where; ///< Null: everywhere at `path`.
    Coverage::State cover;
    PerPeer<bool> present;
    PerPeer<PendingListing> listings;
    bool isRequested = false;
    std::optional<FolderFinish> finish; ///< Not for the top and for folders that belong to no job.
    bool timeChanged = false;
};

/// Folders that wait for their turn, with the listings of the next ones under way.
class FolderQueue
{
public:
    explicit FolderQueue(const WalkContext& context) : mContext(context) {}

    bool empty() const { return mTasks.empty(); }
    void add(FolderTask task) { mTasks.push_back(std::move(task)); }
    /// The last one, so that the tree is gone through branch by branch; but while its listings are under way any that
    /// is there already: where answers take long, the branches must not wait for each other.
    FolderTask takeNext();

private:
    void readAhead();

    const WalkContext& mContext;
    std::deque<FolderTask> mTasks; // the back is next
};

} // namespace braid
