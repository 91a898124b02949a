// The sync of a login or logout: one pass, and another one for as long as the person settles conflicts of the last.

#include "home/preference_keys.h"
#include "login_logout_run.h"
#include "login_logout_sync.h"
#include "platform/failure.h"
#include "util/debug_log.h"
#include "util/typed_reads.h"

namespace roamer
{

namespace
{

bool engineWindowRuns(const Dictionary& info)
{
    return boolForKey(info, platform::kSyncSetUIAppRunningKey);
}

std::uint32_t unresolvedConflicts(const Dictionary& info)
{
    const auto* count = objectForKey(info, platform::kSyncSetUnresolvedConflictsCountKey);
    return static_cast<std::uint32_t>(count != nullptr ? count->integerReading().value_or(0) : 0);
}

} // namespace

void LoginLogoutSync::runPasses(Run& run)
{
    run.allSyncsCompleted = true;
    const char* limitKey = run.atLogin ? kLoginSyncDialogTimeoutSeconds : kLogoutSyncDialogTimeoutSeconds;
    const double limit = mParts.preferences.getRoamerValue<double>(limitKey, 0.0).value_or(0.0);
    programSet(run);
    do {
        runPass(run);
        run.prefSyncCompleted = run.prefSyncCompleted || run.allSyncsCompleted;
        if (!run.skipSync) settleConflicts(run, limit);
        // After a pass that failed there is no next one: what it left undone is not for the person to settle.
    } while (run.status == 0 && !run.skipSync && run.conflicts);
    if (!run.skipSync) settleErrors(run, limit);
}

void LoginLogoutSync::programSet(Run& run)
{
    auto& remotePeer = run.set->remotePeer();
    auto& localPeer = run.set->localPeer();
    DebugLog(2, "Pavo.doPavoLoginLogout: localPeer.inclusionSets = remotePeer.inclusionSets = \"%s\"",
             description(run.jobs.inclusionSets).c_str());
    remotePeer.setInclusionSets(run.jobs.inclusionSets);
    localPeer.setInclusionSets(run.jobs.inclusionSets);
    DebugLog(2, "Pavo.doPavoLoginLogout: localPeer.exclusionSets = remotePeer.exclusionSets = \"%s\"",
             description(run.jobs.exclusionSets).c_str());
    remotePeer.setExclusionSets(run.jobs.exclusionSets);
    localPeer.setExclusionSets(run.jobs.exclusionSets);
    DebugLog(2, "Pavo.doPavoLoginLogout: phdSyncSet.defaultSyncOptions = \"%s\"",
             description(run.jobs.options).c_str());
    run.set->setDefaultSyncOptions(run.jobs.options);
}

void LoginLogoutSync::runPass(Run& run)
{
    run.conflicts = false;
    const std::string noMessage;
    mParts.texts.displaySyncProgress(run.types.overall, 1, 1, false, run.atLogin, run.allowCancel, run.firstTimeSync,
                                     &noMessage, run.progressFrame);
    mParts.runner.waitTillSyncIdle(run.set, 2.0, 30.0);
    startPass(run);
    if (run.status != 0 || run.skipSync) return;

    SyncRunner::Outcome outcome;
    const long status = mParts.runner.doSync(run.set, run.types.overall, 1, 1, run.allowCancel, run.firstTimeSync,
                                             run.firstTimeSync, &outcome);
    run.status = static_cast<std::int32_t>(status);
    run.skipSync = outcome.wasCancelled;
    run.allSyncsCompleted = outcome.syncCompleted;
    run.conflicts = outcome.conflicts;
    DebugLog(2, "Pavo.doPavoLoginLogout: [self doSync:%s] == %ld, wasCancelled=%d, allSyncsCompleted=%d",
             syncTypeUTF8String(run.types.overall).c_str(), status, run.skipSync, run.allSyncsCompleted);
}

/// A pass that could not be started, or is not to be, has completed nothing.
void LoginLogoutSync::startPass(Run& run)
{
    if (mParts.runLoop.waitsShallEnd()) {
        run.skipSync = true;
        run.allSyncsCompleted = false;
        return;
    }
    try {
        const auto home = mParts.homes.getNetworkHomePath(run.mountPoint);
        DebugLog(2, "Pavo.doPavoLoginLogout: phdSyncSet.remoteHomePath = \"%s\";", logText(home));
        run.set->setRemoteHomePath(home);
        DebugLog(2, "Pavo.doPavoLoginLogout: phdSyncSet.startSync;");
        run.set->startSync();
    } catch (const platform::Failure& failure) {
        DebugLog(1, "Pavo.doPavoLoginLogout: caught exception in phdSyncSet.startSync: name=\"%s\", reason=\"%s\"",
                 logText(failure.name()), logText(failure.reason()));
        run.status = kLoginStartSyncFailed;
        run.skipSync = true;
        run.allSyncsCompleted = false;
    }
}

void LoginLogoutSync::settleConflicts(Run& run, double limit)
{
    const auto info = run.set->info();
    const auto before = unresolvedConflicts(info);
    if (engineWindowRuns(info)) {
        run.progressFrame = mParts.texts.takeDownSyncProgress();
        run.set->displayConflictsAndErrors();
        run.skipSync = !mParts.runner.waitTillConflictsResolved(true, run.set, limit);
        if (before > run.set->unresolvedConflictCount()) run.conflicts = true;
    } else if (before != 0) {
        run.skipSync = true;
    }
}

void LoginLogoutSync::settleErrors(Run& run, double limit)
{
    if (!engineWindowRuns(run.set->info())) return;
    run.progressFrame = mParts.texts.takeDownSyncProgress();
    run.set->displayConflictsAndErrors();
    run.skipSync = !mParts.runner.waitTillConflictsResolved(false, run.set, limit);
}

} // namespace roamer
