#pragma once

#include <cstdint>

#include "home/home_locations.h"
#include "home/home_lock.h"
#include "home/home_unmount.h"
#include "home/mirror_agent.h"
#include "home/roamer_preferences.h"
#include "home/sync_times.h"
#include "lists/sync_lists.h"
#include "network_home_mount.h"
#include "platform/run_loop.h"
#include "platform/standard_input.h"
#include "platform/sync_engine.h"
#include "platform/window_system.h"
#include "sync/periodic_sync.h"
#include "sync/sync_options.h"
#include "sync/sync_runner.h"
#include "sync/sync_set.h"
#include "ui/alerts.h"
#include "ui/progress_texts.h"
#include "ui/shared_state.h"
#include "user_account.h"
#include "util/ethernet_address.h"

namespace roamer
{

/// Statuses of the flow beside those of what it calls.
inline constexpr std::int32_t kLoginStartSyncFailed = -1;
inline constexpr std::int32_t kLoginEngineNotStarted = -10;

/// What the flow works with. All borrowed.
struct LoginLogoutParts {
    SharedState& state;
    UserAccount& account;
    RoamerPreferences& preferences;
    HomeLocations& homes;
    HomeLock& homeLock;
    SyncTimes& syncTimes;
    HomeUnmount& homeUnmount;
    MirrorAgent& mirrorAgent;
    EthernetAddress& ethernetAddress;
    SyncLists& lists;
    SyncOptions& options;
    SyncSets& sets;
    SyncRunner& runner;
    PeriodicSync& periodicSync;
    NetworkHomeMount& homeMount;
    ProgressTexts& texts;
    Alerts& alerts;
    platform::SyncManager& syncManager;
    platform::StandardInput& standardInput;
    platform::WindowSystem& windows;
    platform::RunLoop& runLoop;
};

/// The syncs at login and logout, which keep the one who logs the person in or out waiting. Main thread only.
///
/// Statuses: 0; that of the account check; that of the mount; kHomeNotWriteable; kLoginEngineNotStarted;
/// kLoginStartSyncFailed; that of the pass. At login with background syncs on, the status of their set-up takes the
/// place of all that came before it but that of the account check. A person who chooses to sync later is no error.
///
/// The two flags tell what became of the sync: `prefSyncCompleted` that it ran to its end, `allSyncsCompleted` that so
/// did every job of it; both are set too when there was nothing to sync.
class LoginLogoutSync
{
public:
    explicit LoginLogoutSync(const LoginLogoutParts& parts);

    /// Reads the password from the standard input, syncs, and sets background syncs up. `prefSyncCompleted` may be
    /// null.
    std::int32_t doPavoLoginChecks(bool firstTimeSync, bool* prefSyncCompleted);

    /// Ends what runs in the background, also a sync now, and syncs a last time. The preferences remember whether every
    /// job was completed. `prefSyncCompleted` may be null. May raise platform::Failure only before the sync.
    std::int32_t doPavoLogoutChecks(bool firstTimeSync, bool* prefSyncCompleted);

    /// Both flags may be null. platform::Failure is logged here. Whatever happens, the home lock, the engine that was
    /// started and the share are given back.
    std::int32_t doPavoLoginLogout(bool atLogin, bool firstTimeSync, platform::Secret userPassword,
                                   bool* prefSyncCompleted, bool* allSyncsCompleted);

private:
    struct Run;
    /// Where the flow goes on: with the next step, with what follows every sync, or with the clean-up.
    enum class Step { Continue, SetUpPeriodicSync, Leave };

    void stopBackgroundSync();
    /// For the steps after the account check.
    const AmruVEXRecord& userRecord() const;
    void runSteps(Run& run);

    // Is there anything to do, and can it be done?
    Step checkAccount(Run& run);
    Step findWhetherDue(Run& run);
    bool isDue(std::int32_t syncType);
    Step mountHome(Run& run);
    Step checkNetworkHome(Run& run);

    // What is to be synced, and who wins.
    Step findDueJobs(Run& run);
    SyncJob jobFor(const Run& run, std::int32_t syncType, bool always);
    void checkPreferenceJob(Run& run);
    void takeHomeLock(Run& run);
    void askWhenHomeChanged(Run& run);
    Step openSyncSet(Run& run);
    void listJobs(Run& run);

    // The sync.
    void runPasses(Run& run);
    void programSet(Run& run);
    void runPass(Run& run);
    void startPass(Run& run);
    void settleConflicts(Run& run, double limit);
    void settleErrors(Run& run, double limit);

    // Afterwards.
    void recordSync(Run& run);
    Step launchEngine(Run& run);
    void setUpPeriodicSync(Run& run);
    void closeUp(Run& run);

    LoginLogoutParts mParts;
};

} // namespace roamer
