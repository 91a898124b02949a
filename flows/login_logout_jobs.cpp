// What a login or logout syncs: the jobs that are due, who holds the network home, and which home is right.

#include "lists/sync_type.h"
#include "login_logout_run.h"
#include "login_logout_sync.h"
#include "util/debug_log.h"

namespace roamer
{

namespace
{

/// The answers to the question which home is right; all others mean later.
constexpr std::int32_t kUseNetworkHome = 0;
constexpr std::int32_t kUseLocalHome = 2;

/// Who wins where the preferences do not say: in the first sync the network home is all there is, later the home that
/// was worked in last.
int defaultResolution(bool atLogin, bool firstTimeSync)
{
    if (firstTimeSync) return kCopyNetwork;
    return atLogin ? kNetworkWinsConflicts : kLocalWinsConflicts;
}

} // namespace

LoginLogoutSync::Step LoginLogoutSync::findDueJobs(Run& run)
{
    const bool userWantsForgetMirrorPair = mParts.windows.isOptionKeyDown() && mParts.windows.isShiftKeyDown();
    DebugLog(2, "Pavo.doPavoLoginLogout: userWantsForgetMirrorPair=%d", userWantsForgetMirrorPair);
    run.validNetworkHome = mParts.homes.isValidNetworkHome(run.networkHomePath.value_or(""));
    run.forgetMirrorPair = userWantsForgetMirrorPair || !run.validNetworkHome;
    const bool isFirst = run.firstTimeSync || run.forgetMirrorPair;
    run.types = loginLogoutTypes(run.atLogin, isFirst);

    run.preferences = jobFor(run, run.types.preferences, false);
    run.otherFolders = jobFor(run, run.types.otherFolders, false);
    run.periodicSet = jobFor(run, run.types.periodicSet, isFirst);
    DebugLog(2, "Pavo.doPavoLoginLogout: prefSyncType=%s, nonprefSyncType=%s, periodicSyncType=%s",
             syncTypeUTF8String(run.types.preferences).c_str(), syncTypeUTF8String(run.types.otherFolders).c_str(),
             syncTypeUTF8String(run.types.periodicSet).c_str());
    DebugLog(2, "Pavo.doPavoLoginLogout: willSyncPrefs=%d, willSyncNonprefs=%d, willSyncPeriodic=%d",
             run.preferences.isDue(), run.otherFolders.isDue(), run.periodicSet.isDue());
    const int totalJobs = run.preferences.isDue() + run.otherFolders.isDue() + run.periodicSet.isDue();
    DebugLog(2, "Pavo.doPavoLoginLogout: totalJobs=%d", totalJobs);
    if (totalJobs > 0) return Step::Continue;

    DebugLog(2, "Pavo.doPavoLoginLogout: nothing to sync, skip to periodic setup");
    run.prefSyncCompleted = true;
    run.allSyncsCompleted = true;
    return Step::SetUpPeriodicSync;
}

SyncJob LoginLogoutSync::jobFor(const Run& run, std::int32_t syncType, bool always)
{
    SyncJob job;
    if (always || mParts.options.getShouldSyncOverride(syncType)) {
        job.inclusion = mParts.lists.getSyncLists(syncType, run.mountPoint, &job.exclusion);
    }
    return job;
}

void LoginLogoutSync::checkPreferenceJob(Run& run)
{
    run.conflictResolution = mParts.options.getConflictResolutionOverride(
        run.types.preferences, defaultResolution(run.atLogin, run.firstTimeSync));
    takeHomeLock(run);
    if (!run.skipSync) askWhenHomeChanged(run);
}

void LoginLogoutSync::takeHomeLock(Run& run)
{
    int error = 0;
    run.lockFileRefNum = mParts.homeLock.pavoCheckAndOpenVEXLockFileInHomeDir(
        mParts.homes.getNetworkHomePath(run.mountPoint), userRecord().uid(),
        mParts.ethernetAddress.AmruEthernetAddress(), false, &error);
    if (run.lockFileRefNum != 0) return;
    DebugLog(1, "Pavo.doPavoLoginLogout: lockFileRefNum = %d  err = %d", run.lockFileRefNum, error);
    run.skipSync = !mParts.alerts.doConfirmSyncStartHomeInUseMsg(run.atLogin);
}

void LoginLogoutSync::askWhenHomeChanged(Run& run)
{
    std::string localTime;
    std::string networkTime;
    const bool networkHomeNewer = mParts.syncTimes.isNetworkHomeNewer(run.networkHomePath, localTime, networkTime);
    const bool isUnlocked = run.lockFileRefNum == 0;
    if (run.firstTimeSync || !(run.forgetMirrorPair || isUnlocked || networkHomeNewer)) return;
    DebugLog(1,
             "Pavo.doPavoLoginLogout: Home was changed: forgetMirrorpair = %d; lockFileRefNum==0 = %d; isNetHomeNewer "
             "= %d",
             run.forgetMirrorPair, isUnlocked, networkHomeNewer);

    const bool networkWins = run.conflictResolution == kNetworkWinsConflicts || run.conflictResolution == kCopyNetwork;
    if (!run.validNetworkHome && networkWins) {
        // A home that was never synced with would win over everything on this computer.
        run.skipSync = true;
        return;
    }
    run.progressFrame = mParts.texts.takeDownSyncProgress();
    switch (mParts.alerts.doSyncNetHomeTimeNewerMsg(run.atLogin, localTime, networkTime)) {
    case kUseNetworkHome:
        run.conflictResolution = kNetworkWinsConflicts;
        break;
    case kUseLocalHome:
        run.conflictResolution = kLocalWinsConflicts;
        break;
    default:
        run.skipSync = true;
    }
}

LoginLogoutSync::Step LoginLogoutSync::openSyncSet(Run& run)
{
    if (run.forgetMirrorPair) mParts.sets.forgetPHDSyncSets();
    run.set = mParts.sets.getSyncSet(true);
    if (!run.set) {
        DebugLog(1, "Pavo.doPavoLoginLogout: [self getSyncSet::TRUE] == nil");
        return Step::Leave;
    }
    DebugLog(2, "Pavo.doPavoLoginLogout: localPeer = phdSyncSet.localPeer;");
    DebugLog(2, "Pavo.doPavoLoginLogout: remotePeer = phdSyncSet.remotePeer;");
    return Step::Continue;
}

void LoginLogoutSync::listJobs(Run& run)
{
    auto& localPeer = run.set->localPeer();
    auto& remotePeer = run.set->remotePeer();

    const auto append = [&](const SyncJob& job, std::int32_t type, int conflictResolution) {
        if (!job.isDue()) return;
        run.jobs.append(job, mParts.options.getOptionsForSyncType(type, localPeer, remotePeer, conflictResolution,
                                                                  mParts.options.getSuppressErrorsOverride(type, false),
                                                                  run.jobs.nextIndex()));
    };
    const auto resolution = [&](std::int32_t type, int defaultValue) {
        return mParts.options.getConflictResolutionOverride(type, defaultValue);
    };
    append(run.preferences, run.types.preferences, run.conflictResolution);
    append(run.otherFolders, run.types.otherFolders,
           resolution(run.types.otherFolders, defaultResolution(run.atLogin, run.firstTimeSync)));
    append(run.periodicSet, run.types.periodicSet,
           resolution(run.types.periodicSet, run.firstTimeSync ? kCopyNetwork : kShowConflictDialogs));
}

} // namespace roamer
