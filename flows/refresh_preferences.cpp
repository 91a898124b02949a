#include "refresh_preferences.h"

#include "home/preference_keys.h"
#include "util/debug_log.h"
#include "util/format_text.h"
#include "util/report.h"

namespace roamer
{

namespace
{

/// Background syncs that were just set up anew need not wait long for the first one: with the usual interval of 20
/// minutes it comes after 75 seconds.
constexpr double kNextUpdateMultiplier = 0.0625;

/// Gives the busy state back on every way out.
class BusyRefreshing
{
public:
    explicit BusyRefreshing(SharedState& state) : mState(state)
    {
        DebugLog(2, "Pavo.refreshPreferences: mServerBusyState = kPavoRefreshPreferences;");
        mState.mServerBusyState = kPavoRefreshPreferences;
    }
    ~BusyRefreshing()
    {
        DebugLog(2, "Pavo.refreshPreferences: mServerBusyState = kPavoNotBusy;");
        mState.mServerBusyState = kPavoNotBusy;
    }
    BusyRefreshing(const BusyRefreshing&) = delete;
    BusyRefreshing& operator=(const BusyRefreshing&) = delete;

private:
    SharedState& mState;
};

} // namespace

RefreshPreferences::RefreshPreferences(SharedState& state, UserAccount& account, SyncSets& sets,
                                       RoamerPreferences& preferences, PeriodicSync& periodicSync,
                                       platform::RunLoop& runLoop)
    : mState(state), mAccount(account), mSets(sets), mPreferences(preferences), mPeriodicSync(periodicSync),
      mRunLoop(runLoop)
{
}

std::int32_t RefreshPreferences::refreshPreferences()
{
    DebugLog(2, "Pavo.refreshPreferences");
    if (mState.mServerBusyState != kPavoNotBusy) {
        report("Pavo.refreshPreferences Server is busy! Ignoring command");
        return -1;
    }
    const BusyRefreshing busy(mState);
    waitForRunningPass();

    const auto status = mAccount.checkUserInfo();
    if (status != 0 && status != kRecordNotFound) {
        report(formatText("Pavo.refreshPreferences: [self checkUserInfo] == %ld", static_cast<long>(status)));
    }
    return status != 0 ? status : setUpPeriodicSync();
}

void RefreshPreferences::waitForRunningPass()
{
    if (!mSets.activePHDSyncSet() || mState.mProgress) return;
    DebugLog(2, "----- Pavo.refreshPreferences periodicSyncIsActive so going into timer runloop");
    int seconds = 0;
    do {
        mRunLoop.runFor(platform::seconds(1.0));
        ++seconds;
    } while (!mRunLoop.waitsShallEnd() && mSets.activePHDSyncSet());
    DebugLog(2, "----- Pavo.refreshPreferences periodicSyncIsActive exiting timer runloop");
    DebugLog(2, "Pavo.refreshPreferences Slept for %d seconds before periodic sync completed", seconds);
}

std::int32_t RefreshPreferences::setUpPeriodicSync()
{
    mPreferences.invalidateRoamerPrefCache();
    const bool on = mPreferences.getRoamerBool(kPeriodicSyncOn, true);
    const long status = mPeriodicSync.setupPeriodicSync(on, kNextUpdateMultiplier, std::nullopt);
    DebugLog(2, "Pavo.refreshPreferences: [self setupPeriodicSync:%s] == %ld", on ? "TRUE" : "FALSE", status);
    return static_cast<std::int32_t>(status);
}

} // namespace roamer
