#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>

#include "home/roamer_preferences.h"
#include "lists/sync_lists.h"
#include "platform/run_loop.h"
#include "platform/sync_engine.h"
#include "sync_jobs.h"
#include "sync_options.h"
#include "sync_set.h"

namespace roamer
{

/// When the person's preferences were last in step, as the preferences tell it.
struct PreferenceSyncTimes {
    std::optional<Date> lastSync;     ///< The last recorded sync.
    std::optional<Date> networkNewer; ///< When a sync found changed preferences on the network and could not sync them.

    /// Whether the preference items may be synced: not between the discovery of changed network preferences and the
    /// next recorded sync, unless `always`.
    bool allowPreferenceJob(bool always) const
    {
        return !networkNewer || always || (lastSync && *networkNewer < *lastSync);
    }
};
/// The log line about them names the operation that asks.
PreferenceSyncTimes readPreferenceSyncTimes(RoamerPreferences& preferences, const char* operation);

/// Configures the engine's set for syncs in the background and switches them on and off. Main thread only. The
/// engine's failures are logged and end here.
class PeriodicSync
{
public:
    /// Borrows everything.
    PeriodicSync(SyncSets& sets, SyncLists& lists, SyncOptions& options, RoamerPreferences& preferences,
                 platform::RunLoop& runLoop);

    /// The set, with automatic syncing off. With `create`, and when there is something to sync, the set is made if it
    /// is missing and its jobs are rebuilt from the preferences: preference items first, then the background set, each
    /// left out when it has nothing to sync. A failure of the engine while it takes the jobs is logged and the set
    /// returned all the same. Null when there is no set. The types are sync types of the preference and the background
    /// class.
    std::shared_ptr<platform::PhdSyncSet> getPeriodicSyncSet(std::int32_t syncType, std::int32_t prefSyncType,
                                                             const std::optional<std::string>& networkHomeMountpoint,
                                                             bool create, bool alwaysSyncPrefs);

    /// Switches background syncs on or off. The first one comes after `nextUpdateMultiplier` times the interval, but
    /// not within 2 seconds. 0, or -1 when they are to be on but there is no set or the engine refused.
    long setupPeriodicSync(bool turnOn, double nextUpdateMultiplier,
                           const std::optional<std::string>& networkHomeMountpoint);

private:
    SyncJob jobFor(std::int32_t syncType, const std::optional<std::string>& networkHomeMountpoint);
    void setJobs(platform::PhdSyncSet& set, const SyncJob& preferenceJob, const SyncJob& backgroundJob);
    void schedule(platform::PhdSyncSet& set, double nextUpdateMultiplier);

    SyncSets& mSets;
    SyncLists& mLists;
    SyncOptions& mOptions;
    RoamerPreferences& mPreferences;
    platform::RunLoop& mRunLoop;
};

} // namespace roamer
