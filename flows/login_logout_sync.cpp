// The login and logout checks, their steps in order, and what comes before and after the sync itself.

#include "login_logout_sync.h"

#include "home/preference_keys.h"
#include "login_logout_run.h"
#include "platform/failure.h"
#include "util/debug_log.h"
#include "util/url_text.h"

namespace roamer
{

namespace
{

/// How long after a login the first background sync comes, in intervals: soon when the login did not sync the set.
constexpr double kNextUpdateAfterSync = 1.0;
constexpr double kNextUpdateWithoutSync = 0.0625;

/// Runs `last` whatever comes out of `first`.
template <typename First, typename Last>
void runBoth(const First& first, const Last& last)
{
    try {
        first();
    } catch (...) {
        last();
        throw;
    }
    last();
}

} // namespace

LoginLogoutSync::LoginLogoutSync(const LoginLogoutParts& parts) : mParts(parts) {}

std::int32_t LoginLogoutSync::doPavoLoginChecks(bool firstTimeSync, bool* prefSyncCompleted)
{
    bool ownFlag = false;
    bool& completed = prefSyncCompleted != nullptr ? *prefSyncCompleted : ownFlag;
    completed = false;
    const auto status =
        doPavoLoginLogout(true, firstTimeSync, mParts.standardInput.readPassword(), &completed, nullptr);
    DebugLog(2, "Pavo.doPavoLoginChecks: [self doPavoLoginLogout] == %ld  prefSyncCompleted = %d",
             static_cast<long>(status), completed);
    mParts.texts.takeDownSyncProgress();
    DebugLog(2, "Pavo.doPavoLoginChecks: done  Returning status = %d, *prefSyncCompleted = %d", status, completed);
    return status;
}

std::int32_t LoginLogoutSync::doPavoLogoutChecks(bool firstTimeSync, bool* prefSyncCompleted)
{
    DebugLog(2, "Pavo.doPavoLogoutChecks");
    bool ownFlag = false;
    bool& completed = prefSyncCompleted != nullptr ? *prefSyncCompleted : ownFlag;
    completed = false;
    stopBackgroundSync();
    mParts.state.mLoggingOut = true;
    mParts.texts.takeDownSyncProgress();

    bool allSyncsCompleted = false;
    const auto status = doPavoLoginLogout(false, firstTimeSync, {}, &completed, &allSyncsCompleted);
    DebugLog(2, "Pavo.doPavoLogoutChecks: [self doPavoLoginLogout] == %ld, syncCompleted=%d", static_cast<long>(status),
             allSyncsCompleted);
    mParts.preferences.setRoamerBool(kRoamerCompleted, allSyncsCompleted);
    mParts.texts.takeDownSyncProgress();
    DebugLog(2, "Pavo.doPavoLogoutChecks: done  Returning status = %d, *prefSyncCompleted = %d", status, completed);
    return status;
}

void LoginLogoutSync::stopBackgroundSync()
{
    try {
        const auto set = mParts.syncManager.phdSyncSet();
        if (!set) return;
        if (set->state() != 0) set->abortSync();
        set->setIsAutomaticallySyncing(false);
    } catch (const platform::Failure& failure) {
        // An engine that refuses is no reason to leave the last sync out.
        DebugLog(1, "Pavo.doPavoLogoutChecks: the engine goes on in the background: name=\"%s\", reason=\"%s\"",
                 logText(failure.name()), logText(failure.reason()));
    }
}

std::int32_t LoginLogoutSync::doPavoLoginLogout(bool atLogin, bool firstTimeSync, platform::Secret userPassword,
                                                bool* prefSyncCompleted, bool* allSyncsCompleted)
{
    bool ownPrefFlag = false;
    bool ownAllFlag = false;
    Run run(atLogin, firstTimeSync, std::move(userPassword),
            prefSyncCompleted != nullptr ? *prefSyncCompleted : ownPrefFlag,
            allSyncsCompleted != nullptr ? *allSyncsCompleted : ownAllFlag);
    run.prefSyncCompleted = false;
    run.allSyncsCompleted = false;
    const auto guardedSteps = [&] {
        try {
            runSteps(run);
        } catch (const platform::Failure& failure) {
            DebugLog(1, "Pavo.doPavoLoginLogout: caught exception name=\"%s\", reason=\"%s\"", logText(failure.name()),
                     logText(failure.reason()));
        }
    };
    runBoth(guardedSteps, [&] { closeUp(run); });
    DebugLog(2, "Pavo.doPavoLoginLogout: done  Returning status = %ld", static_cast<long>(run.status));
    return run.status;
}

const AmruVEXRecord& LoginLogoutSync::userRecord() const
{
    const auto& record = mParts.state.mUserRecord;
    if (!record) throw platform::Failure(platform::kInvalidArgument, "nobody's account is known");
    return *record;
}

/// Steps that say Leave end here. Those that say SetUpPeriodicSync skip the sync; at login background syncs begin all
/// the same.
void LoginLogoutSync::runSteps(Run& run)
{
    if (checkAccount(run) == Step::Leave) return;

    auto next = findWhetherDue(run);
    if (next == Step::Continue) next = mountHome(run);
    run.password.wipe(); // only the mount needs it, and what comes now takes minutes
    if (next == Step::Continue) next = checkNetworkHome(run);
    if (next == Step::Continue) next = findDueJobs(run);
    if (next == Step::Continue) {
        if (run.preferences.isDue()) checkPreferenceJob(run);
        if (run.atLogin && launchEngine(run) == Step::Leave) return;
        if (openSyncSet(run) == Step::Leave) return;
        if (!run.skipSync) listJobs(run);
        if (!run.skipSync) runPasses(run);
        recordSync(run);
    }
    if (run.atLogin) setUpPeriodicSync(run);
}

LoginLogoutSync::Step LoginLogoutSync::checkAccount(Run& run)
{
    run.status = mParts.account.checkUserInfo();
    if (run.status == 0) return Step::Continue;
    DebugLog(1, "Pavo.doPavoLoginLogout: [self checkUserInfo] == %ld", static_cast<long>(run.status));
    return Step::Leave;
}

LoginLogoutSync::Step LoginLogoutSync::findWhetherDue(Run& run)
{
    // An agent that has served a whole session must not go by, nor write back, what it read at its beginning.
    mParts.preferences.invalidateRoamerPrefCache();
    run.firstTimeSync = run.firstTimeSync || mParts.preferences.getRoamerBool(kIsNewMobileAccount, false);
    DebugLog(2, "Pavo.doPavoLoginLogout: firstTimeSync=%d, atLogin=%d", run.firstTimeSync, run.atLogin);

    const auto types = loginLogoutTypes(run.atLogin, false);
    if (run.firstTimeSync || isDue(types.overall) || isDue(types.periodicSet)) return Step::Continue;
    DebugLog(2, "Pavo.doPavoLoginLogout: Nothing to sync.  Skipping to periodic sync set up.");
    run.prefSyncCompleted = true;
    run.allSyncsCompleted = true;
    return Step::SetUpPeriodicSync;
}

bool LoginLogoutSync::isDue(std::int32_t syncType)
{
    return mParts.options.getShouldSyncOverride(syncType) &&
           mParts.lists.getSyncLists(syncType, std::nullopt).has_value();
}

LoginLogoutSync::Step LoginLogoutSync::mountHome(Run& run)
{
    const char* disableCancel = run.atLogin ? kDisableLoginSyncCancel : kDisableLogoutSyncCancel;
    if (run.firstTimeSync) disableCancel = kDisableFirstSyncCancel;
    run.allowCancel = !mParts.preferences.getRoamerBool(disableCancel, false);

    const auto url = mParts.homes.getOriginalUserHomeURL();
    const auto shownURL = urlWithoutUserInfo(url);
    DebugLog(2, "Pavo.doPavoLoginLogout: url = %s", logText(shownURL));

    const auto& record = userRecord();
    if (run.firstTimeSync && mParts.homes.makeDirectoryPath(record.originalHome())) return Step::Continue;

    const bool async = run.atLogin || (url && url->starts_with("nfs://"));
    run.status =
        mParts.homeMount.waitForMount(url, async, run.atLogin ? kLoginSync : kLogoutSync, false, run.allowCancel,
                                      record.recordName(), run.password.text(), run.mountPoint);
    DebugLog(2, "Pavo.doPavoLoginLogout: -waitForMount:%s = %ld mountPoint = %s", logText(shownURL),
             static_cast<long>(run.status), logText(run.mountPoint));
    const bool cancelled = mParts.state.mProgress && mParts.state.mProgress->wasCancelled();
    return cancelled || run.status != 0 ? Step::SetUpPeriodicSync : Step::Continue;
}

LoginLogoutSync::Step LoginLogoutSync::checkNetworkHome(Run& run)
{
    run.networkHomePath = mParts.homes.getNetworkHomePath(run.mountPoint);
    DebugLog(2, "Pavo.doPavoLoginLogout: getNetworkHomePath returned:  %s.", logText(run.networkHomePath));
    if (mParts.homes.makeDirectoryPath(run.networkHomePath)) return Step::Continue;

    DebugLog(1, "Pavo.doPavoLoginLogout: home at = %s is not writeable.   No sync will occur.",
             logText(run.networkHomePath));
    mParts.texts.takeDownSyncProgress();
    if (run.mountPoint) mParts.alerts.doSyncNetHomePathInvalidMsg(run.atLogin);
    run.status = kHomeNotWriteable;
    return Step::SetUpPeriodicSync;
}

void LoginLogoutSync::recordSync(Run& run)
{
    const bool isRecorded = run.preferences.isDue() || run.otherFolders.isDue();
    if (!run.prefSyncCompleted || !isRecorded) return;
    mParts.syncTimes.saveSyncTime(run.mountPoint);
    if (run.lockFileRefNum != 0) return;
    // Both homes are in step now, whoever held the network home before.
    run.lockFileRefNum = mParts.homeLock.pavoCheckAndOpenVEXLockFileInHomeDir(
        mParts.homes.getNetworkHomePath(run.mountPoint), userRecord().uid(), std::nullopt, true, nullptr);
    DebugLog(2, "Pavo.doPavoLoginLogout: Overrode lock with new lockrefnum = %d", run.lockFileRefNum);
}

LoginLogoutSync::Step LoginLogoutSync::launchEngine(Run& run)
{
    // What a process starts that is about to end, it would only have to stop again.
    if (mParts.runLoop.waitsShallEnd()) return Step::Leave;
    const auto& record = userRecord();
    run.mirrorAgentPID =
        mParts.mirrorAgent.launchMirrorAgentAsUser(record.recordName().value_or(""), record.uid(), record.gid());
    if (run.mirrorAgentPID != 0) return Step::Continue;
    run.status = kLoginEngineNotStarted;
    return Step::Leave;
}

void LoginLogoutSync::setUpPeriodicSync(Run& run)
{
    if (run.mirrorAgentPID == 0 && launchEngine(run) == Step::Leave) return;
    if (!mParts.preferences.getRoamerBool(kPeriodicSyncOn, true)) {
        DebugLog(2, "Pavo.doPavoLoginChecks:shouldPeriodicSync is OFF");
        return;
    }
    DebugLog(2, "Pavo.doPavoLoginChecks:shouldPeriodicSync is ON");
    run.status = static_cast<std::int32_t>(mParts.periodicSync.setupPeriodicSync(
        true, run.periodicSet.isDue() ? kNextUpdateAfterSync : kNextUpdateWithoutSync, run.mountPoint));
    if (run.status != 0) {
        DebugLog(1, "Pavo.doPavoLoginChecks: [self setupPeriodicSync] == %ld", static_cast<long>(run.status));
    }
}

void LoginLogoutSync::closeUp(Run& run)
{
    const auto giveBackLockAndEngine = [&] {
        mParts.homeLock.pavoCleanupVEXLockFileInHomeDir(mParts.homes.getNetworkHomePath(run.mountPoint),
                                                        mParts.state.mUserRecord ? mParts.state.mUserRecord->uid() : 0,
                                                        run.lockFileRefNum);
        if (run.prefSyncCompleted && run.firstTimeSync && mParts.preferences.hasUserLayer()) {
            mParts.preferences.setRoamerBool(kIsNewMobileAccount, false);
        }
        if (run.mirrorAgentPID != 0) mParts.mirrorAgent.killMirrorAgent(run.mirrorAgentPID);
    };
    runBoth(giveBackLockAndEngine, [&] { mParts.homeUnmount.unmountHome(run.mountPoint); });
}

} // namespace roamer
