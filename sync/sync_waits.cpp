// The waits that flows put around a pass.

#include <utility>

#include "sync_runner.h"
#include "util/debug_log.h"

namespace roamer
{

namespace
{

constexpr double kIdleSliceSeconds = 0.1;
constexpr double kConflictSliceSeconds = 1.0;
constexpr double kStaleStatusSeconds = 10.0;

} // namespace

/// Since when a wait for a person has seen the same counts.
struct SyncRunner::Standstill {
    SyncCallbackData::Time since;
    std::uint32_t conflicts = 0;
    std::uint32_t errors = 0;
};

/// Takes the set's status callback when a wait asks for it and puts the former one back when the wait is over.
class SyncRunner::BorrowedCallback
{
public:
    BorrowedCallback(SyncRunner& runner, const Set& set, const char* operation)
        : mRunner(runner), mSet(set), mOperation(operation)
    {
    }
    ~BorrowedCallback()
    {
        if (!mInstalled) return;
        DebugLog(2,
                 "Pavo.%s: phdSyncSet.statusCallbackDelegate = saveStatusCallbackDelegate; "
                 "phdSyncSet.statusCallbackSelector = saveStatusCallbackSelector;",
                 mOperation);
        mSet->setStatusCallback(std::move(mBefore));
    }
    BorrowedCallback(const BorrowedCallback&) = delete;
    BorrowedCallback& operator=(const BorrowedCallback&) = delete;

    bool isInstalled() const { return mInstalled; }
    void installOnce()
    {
        if (mInstalled) return;
        DebugLog(2, "Pavo.%s: phdSyncSet.statusCallback = waitForSyncCallBack;", mOperation);
        mBefore = mSet->statusCallback();
        mSet->setStatusCallback([&runner = mRunner](const Dictionary& status) { runner.waitForSyncCallBack(status); });
        mInstalled = true;
    }

private:
    SyncRunner& mRunner;
    Set mSet;
    const char* mOperation;
    platform::StatusCallback mBefore;
    bool mInstalled = false;
};

bool SyncRunner::stepWindow()
{
    return !mState.mProgress || mState.mProgress->runModal();
}

double SyncRunner::secondsSince(SyncCallbackData::Time time) const
{
    return platform::Seconds(mRunLoop.now() - time).count();
}

// The set is copied: what the caller's pointer refers to may change in a slice.
// NOLINTNEXTLINE(performance-unnecessary-value-param)
void SyncRunner::waitTillSyncIdle(Set set, double minWait, double maxWait)
{
    DebugLog(2, "Pavo.waitTillSyncIdle: minWait = %f, maxWait = %f", minWait, maxWait);
    const auto start = mRunLoop.now();
    const auto serial = mSyncData.serial;
    mSyncData.lastCallBack.reset();
    {
        BorrowedCallback callback(*this, set, "waitTillSyncIdle");
        while (serial == mSyncData.serial) {
            if (secondsSince(start) > minWait && idleWaitIsOver(set, callback, start, maxWait)) break;
            if (!stepWindow() || mRunLoop.waitsShallEnd()) break;
            mRunLoop.runFor(platform::seconds(kIdleSliceSeconds));
        }
    }
    mSyncData.lastCallBack.reset();
    DebugLog(2, "Pavo.waitTillSyncIdle: exiting");
}

bool SyncRunner::idleWaitIsOver(const Set& set, BorrowedCallback& callback, SyncCallbackData::Time start,
                                double maxWait)
{
    if (!set) {
        DebugLog(2, "Pavo.waitTillSyncIdle: timing out after waiting %f seconds (no sync set)", secondsSince(start));
        return true;
    }
    if (!mManager.syncAgentIsRunning()) {
        DebugLog(1, "Pavo.waitTillSyncIdle: the sync engine's agent is not running");
        return true;
    }
    // Another flow's wait inside a slice of this one forgets the time of the last status when it ends.
    if (!callback.isInstalled() || !mSyncData.lastCallBack) waitForSyncCallBack(set->info());
    if (mSyncData.syncIsIdle) return true;
    callback.installOnce();
    const double silence = mSyncData.lastCallBack ? secondsSince(*mSyncData.lastCallBack) : 0.0;
    // A status that has just arrived is older than no time at all, however coarse the clock.
    if (silence <= maxWait && maxWait > 0.0) return false;
    DebugLog(1, "Pavo.waitTillSyncIdle: timing out because no callbacks for %f seconds.  Total wait %f seconds",
             silence, secondsSince(start));
    return true;
}

// The set is copied: what the caller's pointer refers to may change in a slice.
// NOLINTNEXTLINE(performance-unnecessary-value-param)
bool SyncRunner::waitTillConflictsResolved(bool conflictsOnly, Set set, double maxWait)
{
    DebugLog(2, "Pavo.waitTillConflictsResolved:%d maxWait = %f", conflictsOnly, maxWait);
    Standstill standstill{.since = mRunLoop.now()};
    const auto serial = mSyncData.serial;
    mSyncData.lastCallBack.reset();
    bool result = true;
    {
        BorrowedCallback callback(*this, set, "waitTillConflictsResolved");
        while (serial == mSyncData.serial && conflictsKeepWaiting(conflictsOnly, set, callback)) {
            callback.installOnce();
            if (mRunLoop.waitsShallEnd() || standsStill(conflictsOnly, standstill, maxWait)) {
                result = false;
                break;
            }
            if (!stepWindow()) break;
            logConflictState(conflictsOnly);
            mRunLoop.runFor(platform::seconds(kConflictSliceSeconds));
        }
    }
    mSyncData.lastCallBack.reset();
    DebugLog(2, "Pavo.waitTillConflictsResolved: exiting with result = %d", result);
    return result;
}

bool SyncRunner::conflictsKeepWaiting(bool conflictsOnly, const Set& set, const BorrowedCallback& callback)
{
    if (!set) {
        DebugLog(1, "Pavo.waitTillConflictsResolved: phdSyncSet = nil");
        return false;
    }
    if (!callback.isInstalled() || !mSyncData.lastCallBack ||
        secondsSince(*mSyncData.lastCallBack) > kStaleStatusSeconds) {
        waitForSyncCallBack(set->info());
    }
    const bool settled = mSyncData.unresolvedConflicts == 0 && (conflictsOnly || mSyncData.unresolvedErrors == 0);
    if (mManager.syncAgentIsRunning() && mSyncData.braidUIRunning && !settled) return true;
    logConflictState(conflictsOnly);
    return false;
}

/// Whether nothing was settled for too long.
bool SyncRunner::standsStill(bool conflictsOnly, Standstill& standstill, double maxWait)
{
    const auto conflicts = mSyncData.unresolvedConflicts;
    const auto errors = mSyncData.unresolvedErrors;
    if (conflicts != standstill.conflicts || errors != standstill.errors) {
        standstill = {.since = mRunLoop.now(), .conflicts = conflicts, .errors = errors};
        return false;
    }
    const double waited = secondsSince(standstill.since);
    if (!(maxWait > 0.0 && waited > maxWait)) return false;
    DebugLog(1,
             "Pavo.waitTillConflictsResolved:%d  timing out after waiting %f seconds, braidUIRunning = %d, "
             "unresolvedConflicts = %u, unresolvedErrors = %u ",
             conflictsOnly, waited, mSyncData.braidUIRunning, conflicts, errors);
    return true;
}

void SyncRunner::logConflictState(bool conflictsOnly) const
{
    DebugLog(2,
             "Pavo.waitTillConflictsResolved:%d braidUIRunning = %d, unresolvedConflicts = %u, unresolvedErrors = %u ",
             conflictsOnly, mSyncData.braidUIRunning, mSyncData.unresolvedConflicts, mSyncData.unresolvedErrors);
}

} // namespace roamer
