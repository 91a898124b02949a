#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>

#include "home/home_locations.h"
#include "home/home_unmount.h"
#include "home/roamer_preferences.h"
#include "home/sync_times.h"
#include "lists/sync_lists.h"
#include "network_home_mount.h"
#include "platform/event_trace.h"
#include "platform/run_loop.h"
#include "platform/window_system.h"
#include "sync/periodic_sync.h"
#include "sync/sync_options.h"
#include "sync/sync_runner.h"
#include "sync/sync_set.h"
#include "ui/alerts.h"
#include "ui/progress_texts.h"
#include "ui/shared_state.h"
#include "user_account.h"

namespace roamer
{

/// What the flow works with. All borrowed.
struct SyncNowParts {
    SharedState& state;
    UserAccount& account;
    RoamerPreferences& preferences;
    HomeLocations& homes;
    SyncTimes& syncTimes;
    HomeUnmount& homeUnmount;
    SyncLists& lists;
    SyncOptions& options;
    SyncSets& sets;
    SyncRunner& runner;
    PeriodicSync& periodicSync;
    NetworkHomeMount& homeMount;
    ProgressTexts& texts;
    Alerts& alerts;
    platform::WindowSystem& windows;
    platform::EventTrace& eventTrace;
    platform::RunLoop& runLoop;
};

/// One manual sync of the background set, and of the preference items when they are due; then background syncs are set
/// up again. Main thread only.
class SyncNow
{
public:
    explicit SyncNow(const SyncNowParts& parts);

    /// True when the process may end now: always while logging out, else unless another command was running. Runs the
    /// main run loop. platform::Failure is logged here; whatever happens, a share that was mounted is given back.
    bool syncNow();

    /// Shows the progress of a pass that already runs on `set`, until it ends or the person closes the window. Nothing
    /// happens while a progress window is up.
    void showActiveSyncStatus(SyncRunner::Set set);

private:
    struct Run;
    enum class Step { Continue, SetUpPeriodicSync, Leave };

    void runSteps(Run& run);
    Step turnAwayWhenBusy(Run& run);
    Step checkAccount(Run& run);
    Step showRunningSync();
    Step readKeysAndHome(Run& run);
    Step findDueJobs(Run& run);
    Step mountHome(Run& run);
    Step unableToMount();
    std::optional<std::string> accountName() const;
    Step sync(Run& run);
    void startSync(Run& run, platform::PhdSyncSet& set);
    void recordOutcome(Run& run);
    void setUpPeriodicSync(Run& run);
    void closeUp(const Run& run);

    SyncNowParts mParts;
};

} // namespace roamer
