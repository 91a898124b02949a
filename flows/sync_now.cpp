#include "sync_now.h"

#include <utility>

#include "home/preference_keys.h"
#include "lists/sync_type.h"
#include "platform/failure.h"
#include "util/debug_log.h"
#include "util/format_text.h"
#include "util/report.h"
#include "util/url_text.h"

namespace roamer
{

namespace
{

constexpr std::uint32_t kTraceSyncNowBegin = 0x21090010;
constexpr std::uint32_t kTraceSyncNowEnd = 0x21090014;
constexpr bool kNotAtLogin = false;

} // namespace

/// The working values of one syncNow.
struct SyncNow::Run {
    long status = 0;
    bool stopWhenDone = true;
    bool userWantsForgetMirrorPair = false;
    bool alwaysSyncPrefs = false;
    std::optional<std::string> url;
    std::optional<Date> newerTime; ///< As found before the sync.
    bool willSyncPrefs = false;
    std::optional<std::string> mountPoint;
    SyncRunner::Outcome outcome;
};

SyncNow::SyncNow(const SyncNowParts& parts) : mParts(parts) {}

bool SyncNow::syncNow()
{
    mParts.eventTrace.trace(kTraceSyncNowBegin);
    DebugLog(2, "Pavo.syncNow");
    Run run;
    try {
        runSteps(run);
    } catch (const platform::Failure& failure) {
        DebugLog(1, "Pavo.syncNow caught exception name=\"%s\", reason=\"%s\"", logText(failure.name()),
                 logText(failure.reason()));
    } catch (...) {
        closeUp(run);
        throw;
    }
    closeUp(run);
    return mParts.state.mLoggingOut || run.stopWhenDone;
}

/// Steps that say Leave end here, those that say SetUpPeriodicSync skip to the end: whatever became of this sync, the
/// ones in the background go on.
void SyncNow::runSteps(Run& run)
{
    if (turnAwayWhenBusy(run) == Step::Leave) return;
    if (checkAccount(run) == Step::Leave) return;
    if (showRunningSync() == Step::Leave) return;
    if (readKeysAndHome(run) == Step::Leave) return;

    auto next = findDueJobs(run);
    if (next == Step::Continue) next = mountHome(run);
    if (next == Step::Continue) next = sync(run);
    if (next == Step::Continue) recordOutcome(run);
    setUpPeriodicSync(run);

    DebugLog(2, "Pavo.syncNow:exit mServerBusyState = kPavoNotBusy;");
    mParts.state.mServerBusyState = kPavoNotBusy;
}

SyncNow::Step SyncNow::turnAwayWhenBusy(Run& run)
{
    if (mParts.state.mServerBusyState == kPavoNotBusy) return Step::Continue;
    if (auto* progress = PavoProgress::pavoProgress()) {
        mParts.windows.activateAgent();
        if (auto* window = progress->window()) window->deminimize();
    }
    DebugLog(2, "Pavo.syncNow Server is busy! Ignoring command");
    run.stopWhenDone = false;
    return Step::Leave;
}

SyncNow::Step SyncNow::checkAccount(Run& run)
{
    run.status = mParts.account.checkUserInfo();
    if (run.status == 0) return Step::Continue;
    if (run.status == kRecordNotFound) {
        mParts.alerts.doNotAMobileAccountMsg(kNotAtLogin);
    } else {
        report(formatText("Pavo.syncNow: [self checkUserInfo] = %ld", run.status));
    }
    return Step::Leave;
}

SyncNow::Step SyncNow::showRunningSync()
{
    auto set = mParts.sets.activePHDSyncSet();
    if (!set) return Step::Continue;
    showActiveSyncStatus(std::move(set));
    DebugLog(2, "Pavo.syncNow: mServerBusyState = kPavoNotBusy;");
    mParts.state.mServerBusyState = kPavoNotBusy;
    return Step::Leave;
}

SyncNow::Step SyncNow::readKeysAndHome(Run& run)
{
    mParts.preferences.invalidateRoamerPrefCache();
    const bool optionDown = mParts.windows.isOptionKeyDown();
    run.userWantsForgetMirrorPair = optionDown && mParts.windows.isShiftKeyDown();
    run.alwaysSyncPrefs = optionDown && !run.userWantsForgetMirrorPair;
    DebugLog(2, "Pavo.syncNow: userWantsForgetMirrorPair = %d, alwaysSyncPrefs = %d", run.userWantsForgetMirrorPair,
             run.alwaysSyncPrefs);

    run.url = mParts.homes.getOriginalUserHomeURL();
    const auto path = mParts.homes.getOriginalUserHomePath();
    DebugLog(2, "Pavo.syncNow url = %s, path = %s", logText(urlWithoutUserInfo(run.url)), logText(path));
    return run.url || path ? Step::Continue : Step::Leave;
}

SyncNow::Step SyncNow::findDueJobs(Run& run)
{
    const auto times = readPreferenceSyncTimes(mParts.preferences, "syncNow");
    run.newerTime = times.networkNewer;

    const auto isDue = [this](std::int32_t type) {
        MatchRules exclusion;
        return mParts.options.getShouldSyncOverride(type) &&
               mParts.lists.getSyncLists(type, std::nullopt, &exclusion).has_value();
    };
    run.willSyncPrefs = times.allowPreferenceJob(run.alwaysSyncPrefs) && isDue(kNowAllPrefSync);
    const bool willSyncPeriodic = isDue(kNowPeriodicSync);
    const int totalJobs = run.willSyncPrefs + willSyncPeriodic;
    DebugLog(2, "Pavo.syncNow: totalJobs=%d, willSyncPrefs=%d, willSyncPeriodic=%d", totalJobs, run.willSyncPrefs,
             willSyncPeriodic);
    if (totalJobs == 0) {
        mParts.alerts.doNothingToSyncMsg(kNotAtLogin);
        DebugLog(2, "Pavo.syncNow: nothing to sync, exiting");
        return Step::SetUpPeriodicSync;
    }

    DebugLog(2, "Pavo.syncNow: mServerBusyState = kPavoSyncNow;");
    mParts.state.mServerBusyState = kPavoSyncNow;
    return Step::Continue;
}

SyncNow::Step SyncNow::mountHome(Run& run)
{
    const bool async = run.url && run.url->starts_with("nfs://");
    run.status = mParts.homeMount.waitForMount(run.url, async, kNowPeriodicSync, true, true, accountName(),
                                               std::nullopt, run.mountPoint);
    DebugLog(2, "Pavo.syncNow: -waitForMount:%s = %ld mountPoint = %s", logText(urlWithoutUserInfo(run.url)),
             run.status, logText(run.mountPoint));
    if (mParts.state.mProgress && mParts.state.mProgress->wasCancelled()) return Step::SetUpPeriodicSync;
    if (run.status != 0) return unableToMount();

    const auto home = mParts.homes.getNetworkHomePath(run.mountPoint);
    if (!mParts.homes.makeDirectoryPath(home)) {
        DebugLog(1, "Pavo.syncNow home at = %s is not writeable.", logText(home));
        run.status = kHomeNotWriteable;
        return unableToMount();
    }
    return mParts.state.mLoggingOut ? Step::SetUpPeriodicSync : Step::Continue;
}

SyncNow::Step SyncNow::unableToMount()
{
    mParts.texts.takeDownSyncProgress();
    mParts.alerts.doUnableToMountHomeForSyncMsg(kNotAtLogin);
    return Step::SetUpPeriodicSync;
}

std::optional<std::string> SyncNow::accountName() const
{
    if (!mParts.state.mUserRecord) return std::nullopt;
    return mParts.state.mUserRecord->recordName();
}

SyncNow::Step SyncNow::sync(Run& run)
{
    if (run.userWantsForgetMirrorPair) mParts.sets.forgetPHDSyncSets();
    const auto set = mParts.periodicSync.getPeriodicSyncSet(kNowPeriodicSync, kNowAllPrefSync, run.mountPoint, true,
                                                            run.alwaysSyncPrefs);
    if (!set) {
        DebugLog(1, "Pavo.syncNow: [self getSyncSet:TRUE] == nil");
        return Step::SetUpPeriodicSync;
    }
    const std::string noMessage;
    mParts.texts.displaySyncProgress(kNowPeriodicSync, 1, 1, true, false, true, false, &noMessage);
    mParts.runner.waitTillSyncIdle(set, 2.0, 30.0);
    // A logout that came in the wait has done its own, last sync.
    if (mParts.state.mLoggingOut || mParts.runLoop.waitsShallEnd()) return Step::SetUpPeriodicSync;
    startSync(run, *set);
    if (run.status == 0) {
        run.status = mParts.runner.doSync(set, kNowPeriodicSync, 1, 1, true, false, false, &run.outcome);
        DebugLog(2, "Pavo.syncNow: [self doSync:%s] == %ld, wasCancelled=%d, syncCompleted=%d",
                 syncTypeUTF8String(kNowPeriodicSync).c_str(), run.status, run.outcome.wasCancelled,
                 run.outcome.syncCompleted);
    }
    return Step::Continue;
}

void SyncNow::startSync(Run& run, platform::PhdSyncSet& set)
{
    try {
        const auto home = mParts.homes.getNetworkHomePath(run.mountPoint);
        DebugLog(2, "Pavo.syncNow: phdSyncSet.remoteHomePath = \"%s\";", logText(home));
        set.setRemoteHomePath(home);
        DebugLog(2, "Pavo.syncNow: [phdSyncSet phdSyncSet.startSync];");
        set.startSync();
    } catch (const platform::Failure& failure) {
        DebugLog(1, "Pavo.syncNow: caught exception in phdSyncSet.startSync: name=\"%s\", reason=\"%s\"",
                 logText(failure.name()), logText(failure.reason()));
        run.status = -1;
    }
}

void SyncNow::recordOutcome(Run& run)
{
    if (mParts.state.mLoggingOut || !run.willSyncPrefs) return;
    if (run.status == kSyncWroteReadOnlyPeer) {
        mParts.preferences.setRoamerValue(PropertyList(mParts.runLoop.date()), kNetworkHomeNewerTime);
        mParts.texts.takeDownSyncProgress();
        mParts.alerts.doCantSyncChangedNetworkPrefsMessage(kNotAtLogin);
    } else if (run.outcome.syncCompleted) {
        if (run.newerTime) mParts.preferences.setRoamerValue(std::nullopt, kNetworkHomeNewerTime);
        mParts.syncTimes.saveSyncTime(run.mountPoint);
    }
}

void SyncNow::setUpPeriodicSync(Run& run)
{
    mParts.texts.takeDownSyncProgress();
    if (mParts.state.mLoggingOut) return;
    mParts.preferences.invalidateRoamerPrefCache();
    run.status = mParts.periodicSync.setupPeriodicSync(mParts.preferences.getRoamerBool(kPeriodicSyncOn, true), 1.0,
                                                       run.mountPoint);
    if (run.status != 0) {
        DebugLog(1, "Pavo.syncNow: [self setupPeriodicSync] == %ld", run.status);
    }
}

void SyncNow::closeUp(const Run& run)
{
    if (run.mountPoint) mParts.homeUnmount.unmountHome(run.mountPoint);
    mParts.eventTrace.trace(kTraceSyncNowEnd);
}

void SyncNow::showActiveSyncStatus(SyncRunner::Set set)
{
    if (mParts.state.mProgress) {
        DebugLog(1, "Pavo.showActiveSyncStatus mProgress is allocated.");
        return;
    }
    mParts.texts.displaySyncProgress(kPeriodicSync, 1, 1, true, false, true, false, nullptr);
    const long status = mParts.runner.doSync(std::move(set), kPeriodicSync, 1, 1, true, false, false, nullptr);
    if (status != 0) DebugLog(1, "Pavo.showActiveSyncStatus: [self doSync:] == %ld", status);
    mParts.texts.takeDownSyncProgress();
}

} // namespace roamer
