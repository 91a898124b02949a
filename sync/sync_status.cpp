// What arrives while SyncRunner waits: the engine's statuses and the watchdog's beat.

#include "platform/failure.h"
#include "status_update.h"
#include "sync_runner.h"
#include "sync_state.h"
#include "util/debug_log.h"

namespace roamer
{

namespace
{

/// A last status of at most this age makes the watchdog's own question needless.
constexpr double kFreshStatusSeconds = 9.0;

bool reportsPasses(std::int32_t state)
{
    return state >= SyncSetStateProcessing && state <= SyncSetStateFinished;
}

} // namespace

void SyncRunner::statusCallBack(const Dictionary& status)
{
    const auto state = statusInteger(status, platform::kSyncSetStateKey);
    DebugLog(2, "Pavo.statusCallBack: syncState=%s", syncStateUTF8String(state).c_str());
    mSyncData.lastCallBack = mRunLoop.now();
    if (statusCount(status, platform::kSyncSetUnresolvedConflictsCountKey) != 0) mSyncData.conflicts = true;
    if (reportsPasses(state)) {
        const auto passes = status.find(platform::kProgressSyncPassStatusKey);
        const auto* list = passes != status.end() ? passes->second.as<Array>() : nullptr;
        if (list != nullptr) mSyncData.lastSyncPassStatus = *list;
    }
    if (state == SyncSetStateIdle) mSyncData.syncIsActive = false;

    // The run loop called, and nobody above it could catch: a text that is missing costs this update only.
    try {
        showStatus(status);
    } catch (const platform::Failure& failure) {
        DebugLog(1, "Pavo.statusCallBack caught exception: name=\"%s\", reason=\"%s\"", logText(failure.name()),
                 logText(failure.reason()));
    }
}

void SyncRunner::showStatus(const Dictionary& status)
{
    if (!mState.mProgress) return;
    const auto update = statusUpdate(mTexts, mSyncData, status);
    const bool stopPressed =
        mState.mProgress->updateProgress(update.value, pointerTo(update.title), pointerTo(update.path), &update.message,
                                         nullptr, update.relaxKeepInFront);
    if (!stopPressed) return;
    DebugLog(2, "Pavo.statusCallBack Stop button pressed");
    if (const auto set = mSyncData.phdSyncSet.lock()) set->abortSync();
    mSyncData.syncIsActive = false;
}

void SyncRunner::checkBraidTimer()
{
    DebugLog(2, "Entering Pavo.checkBraidTimer");
    if (mSyncData.disableSleep) mPower.reportUserActivity();
    if (mState.mPavoBlockProgressTimer) return;

    const bool windowCancelled = mState.mProgress && mState.mProgress->wasCancelled();
    if (!mManager.syncAgentIsRunning() || windowCancelled) {
        DebugLog(2, "Pavo.checkBraidTimer progress cancelled");
        mSyncData.syncIsActive = false;
        return;
    }
    if (mSyncData.lastCallBack && secondsSince(*mSyncData.lastCallBack) <= kFreshStatusSeconds) return;
    const auto set = mSyncData.phdSyncSet.lock();
    const auto status = set ? set->info() : Dictionary{};
    // An engine that is there but too busy to answer has not ended its pass; an empty status would read as "idle".
    if (set && status.empty()) return;
    statusCallBack(status);
}

void SyncRunner::waitForSyncCallBack(const Dictionary& status)
{
    const auto state = statusInteger(status, platform::kSyncSetStateKey);
    mSyncData.braidUIRunning = statusFlag(status, platform::kSyncSetUIAppRunningKey);
    mSyncData.unresolvedConflicts = statusCount(status, platform::kSyncSetUnresolvedConflictsCountKey);
    mSyncData.unresolvedErrors = statusCount(status, platform::kSyncSetUnresolvedErrorsCountKey);
    if (mSyncData.unresolvedConflicts != 0) mSyncData.conflicts = true;
    mSyncData.syncIsIdle = state == SyncSetStateIdle;
    mSyncData.lastCallBack = mRunLoop.now();
    DebugLog(2,
             "Pavo.waitForSyncCallBack: syncState = %s, mSyncData.syncIsIdle=%d, mSyncData.braidUIRunning=%d, "
             "mSyncData.unresolvedConflicts=%d, mSyncData.unresolvedErrors=%d",
             syncStateUTF8String(state).c_str(), mSyncData.syncIsIdle, mSyncData.braidUIRunning,
             static_cast<int>(mSyncData.unresolvedConflicts), static_cast<int>(mSyncData.unresolvedErrors));
}

} // namespace roamer
