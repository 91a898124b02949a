#include "status.h"

#include "platform/sync_engine.h"

namespace braid::agent
{

namespace
{

using roamer::Array;
using roamer::Dictionary;

Dictionary failure(const std::string& name, const std::string& reason)
{
    return {{platform::kFailureNameKey, name}, {platform::kFailureReasonKey, reason}};
}

Array passStatus(const Status& status)
{
    Array entries;
    for (const auto& job : status.progress.jobStatus) {
        entries.emplace_back(job.name.empty() ? Dictionary{} : failure(job.name, job.reason));
    }
    const bool ended = status.progress.state == PassState::Finished;
    if (ended && status.lastResult != kPassSucceeded && status.lastResult != kPassAborted) {
        entries.emplace_back(failure(kPassFailedName, status.lastReason));
    }
    return entries;
}

void addFigures(Dictionary& result, const Progress& progress, double percent)
{
    result.insert_or_assign(platform::kProgressPercentCompleteKey, percent);
    result.insert_or_assign(platform::kProgressCompletedItemsKey, progress.completedItems);
    result.insert_or_assign(platform::kProgressTotalItemsKey, progress.totalItems);
    result.insert_or_assign(platform::kProgressCompletedBytesKey, progress.completedBytes);
    result.insert_or_assign(platform::kProgressTotalBytesKey, progress.totalBytes);
}

} // namespace

Dictionary describe(const Status& status)
{
    const auto& progress = status.progress;
    Dictionary result{
        {platform::kSyncSetStateKey, static_cast<int>(progress.state)},
        {platform::kSyncSetUnresolvedConflictsCountKey, status.conflicts},
        {platform::kSyncSetUnresolvedErrorsCountKey, status.errors},
        {platform::kSyncSetUIAppRunningKey, status.uiAppIsRunning},
    };
    if (progress.state == PassState::Idle) return result;
    result.insert_or_assign(platform::kProgressSyncPassStatusKey, passStatus(status));
    if (progress.percent) addFigures(result, progress, *progress.percent);
    if (!progress.currentPath.empty()) {
        result.insert_or_assign(platform::kProgressCurrentItemPathKey, progress.currentPath);
    }
    return result;
}

} // namespace braid::agent
