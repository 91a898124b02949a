#pragma once

#include <cstdint>

#include "home/roamer_preferences.h"
#include "platform/run_loop.h"
#include "sync/periodic_sync.h"
#include "sync/sync_set.h"
#include "ui/shared_state.h"
#include "user_account.h"

namespace roamer
{

/// Sets background syncs up again from the present preferences. Main thread only.
class RefreshPreferences
{
public:
    /// Borrows everything.
    RefreshPreferences(SharedState& state, UserAccount& account, SyncSets& sets, RoamerPreferences& preferences,
                       PeriodicSync& periodicSync, platform::RunLoop& runLoop);

    /// First waits, without limit, for the end of a pass that runs in the background, unless the process is to end. -1
    /// when another command runs, else the status of the account check, else that of the set-up.
    std::int32_t refreshPreferences();

private:
    void waitForRunningPass();
    std::int32_t setUpPeriodicSync();

    SharedState& mState;
    UserAccount& mAccount;
    SyncSets& mSets;
    RoamerPreferences& mPreferences;
    PeriodicSync& mPeriodicSync;
    platform::RunLoop& mRunLoop;
};

} // namespace roamer
