#include "sync_runner.h"

#include <utility>

#include "lists/sync_type.h"
#include "sync_pass.h"
#include "util/debug_log.h"

namespace roamer
{

namespace
{

constexpr double kWatchdogSeconds = 10.0;
constexpr double kSliceSeconds = 0.1;

} // namespace

SyncRunner::SyncRunner(SharedState& state, ProgressTexts& texts, platform::SyncManager& manager,
                       platform::RunLoop& runLoop, VEXPowerManager& power)
    : mState(state), mTexts(texts), mManager(manager), mRunLoop(runLoop), mPower(power)
{
}

long SyncRunner::doSync(Set set, std::int32_t syncType, std::uint32_t syncPart, std::uint32_t syncParts,
                        bool /*allowStop*/, bool stopCancels, bool disableSleep, Outcome* outcome)
{
    if (outcome != nullptr) *outcome = {};
    Pass pass;
    pass.set = std::move(set);
    pass.type = syncType;
    pass.part = syncPart;
    pass.parts = syncParts;
    pass.stopCancels = stopCancels;
    pass.disableSleep = disableSleep;
    pass.name = syncTypeUTF8String(syncType);

    beginPass(pass);
    try {
        waitForPass(pass);
    } catch (...) {
        endPass(pass);
        throw;
    }
    checkAgent(pass);
    endPass(pass);
    if (isCurrent(pass)) showOutcome(pass);
    if (isCurrent(pass)) readResult(pass);

    if (outcome != nullptr) *outcome = pass.outcome;
    DebugLog(2, "Pavo.doSync:%s done  Returning status = %ld", pass.name.c_str(), pass.status);
    return pass.status;
}

void SyncRunner::beginPass(Pass& pass)
{
    pass.serial = mSyncData.serial + 1;
    mSyncData = {};
    mSyncData.serial = pass.serial;
    mSyncData.syncIsActive = true;
    mSyncData.syncType = pass.type;
    mSyncData.syncPart = pass.part;
    mSyncData.syncParts = pass.parts;
    mSyncData.phdSyncSet = pass.set;
    mSyncData.disableSleep = pass.disableSleep;
    if (pass.disableSleep) mPower.preventSystemSleep();

    DebugLog(2, "Pavo.doSync:%s phdSyncSet.statusCallback = statusCallBack;", pass.name.c_str());
    if (pass.set) {
        pass.set->setStatusCallback([this, serial = pass.serial](const Dictionary& status) {
            if (serial == mSyncData.serial) statusCallBack(status);
        });
    }
    mBraidTimer = mRunLoop.every(platform::seconds(kWatchdogSeconds), [this, serial = pass.serial] {
        if (serial == mSyncData.serial) checkBraidTimer();
    });
}

void SyncRunner::waitForPass(Pass& pass)
{
    DebugLog(2, "Pavo.doSync:%s Going into runloop mProgress = %d, mSyncData.syncIsActive = %d", pass.name.c_str(),
             mState.mProgress != nullptr, mSyncData.syncIsActive);
    // Stepping the window serves what arrives just as the slices do, so the flag is looked at after either.
    do {
        if (!stepWindow()) break;
        mRunLoop.runFor(platform::seconds(kSliceSeconds));
        pass.waitWasEnded = mRunLoop.waitsShallEnd() && mSyncData.syncIsActive;
    } while (isCurrent(pass) && mSyncData.syncIsActive && !pass.waitWasEnded);
}

void SyncRunner::checkAgent(Pass& pass)
{
    if (mManager.syncAgentIsRunning()) return;
    DebugLog(1, "Pavo.doSync:%s the sync engine's agent is not running", pass.name.c_str());
    if (mState.mProgress) mState.mProgress->cancel();
    pass.status = kSyncAgentNotRunning;
    pass.set.reset();
}

void SyncRunner::endPass(Pass& pass)
{
    if (isCurrent(pass)) {
        mSyncData.syncIsActive = false;
        mBraidTimer.invalidate();
    }
    DebugLog(2, "Pavo.doSync:%s mSyncData.syncIsActive is %d, wasCancelled = %d.", pass.name.c_str(),
             mSyncData.syncIsActive, mState.mProgress && mState.mProgress->wasCancelled());
    if (pass.disableSleep) mPower.allowSystemSleep();
    if (pass.set) {
        DebugLog(2, "Pavo.doSync:%s phdSyncSet.statusCallback = nil;", pass.name.c_str());
        pass.set->setStatusCallback({});
    }
}

void SyncRunner::readResult(Pass& pass)
{
    pass.outcome.conflicts = mSyncData.conflicts;
    mSyncData.lastSyncPassStatus.reset();
    mSyncData.lastCallBack.reset();
    if (!pass.set) return;

    const long result = pass.set->lastSyncResult();
    DebugLog(2, "Pavo.doSync:%s phdSyncSet.lastSyncResult = %ld", pass.name.c_str(), result);
    if (result == 0 || result == platform::kSyncResultAborted || pass.status != 0) return;
    const bool closing = mState.mProgress && mState.mProgress->userRequestsClose();
    if (pass.outcome.wasCancelled || closing) return;
    pass.status = result;
    DebugLog(1, "Pavo.doSync:%s phdSyncSet.lastSyncResult = %ld", pass.name.c_str(), result);
}

bool SyncRunner::isCurrent(const Pass& pass) const
{
    return pass.serial == mSyncData.serial;
}

} // namespace roamer
