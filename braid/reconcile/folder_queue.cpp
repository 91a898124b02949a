#include "folder_queue.h"

#include <algorithm>

namespace braid
{

namespace
{

constexpr std::size_t kReadAhead = 64; // folders whose listings are asked for before they are needed

} // namespace

void FolderQueue::readAhead()
{
    // The next one last, since the pool begins with what it is asked for last.
    const std::size_t first = mTasks.size() - std::min(mTasks.size(), kReadAhead);
    for (std::size_t at = first; at < mTasks.size(); ++at) {
        FolderTask& task = mTasks[at];
        if (task.isRequested) continue;
        task.isRequested = true;
        for (const Peer peer : kPeers) {
            if (!task.present[peer]) continue;
            task.listings[peer] = mContext.list(peer, task.where ? task.where->at[peer] : task.path);
        }
    }
}

FolderTask FolderQueue::takeNext()
{
    readAhead();
    const std::size_t first = mTasks.size() - std::min(mTasks.size(), kReadAhead);
    std::size_t at = mTasks.size() - 1;
    for (std::size_t candidate = mTasks.size(); candidate-- > first;) {
        const FolderTask& task = mTasks[candidate];
        if (!std::ranges::all_of(kPeers,
                                 [&](Peer peer) { return !task.present[peer] || task.listings[peer].isReady(); }))
            continue;
        at = candidate;
        break;
    }
    FolderTask task = std::move(mTasks[at]);
    mTasks.erase(mTasks.begin() + static_cast<std::ptrdiff_t>(at));
    return task;
}

} // namespace braid
