#pragma once

#include <memory>
#include <optional>
#include <string>

#include "home/home_locations.h"
#include "platform/distributed_notifications.h"
#include "platform/sync_engine.h"

namespace roamer
{

/// The name of the set that the agent makes, and the notification that tells other processes of a new one.
inline constexpr const char* kPHDSyncSetName = "Roamer_Mirror";
inline constexpr const char* kMirrorPairChangedNotification = "com.kestrel.pavo._pavoMirrorPairChanged";

/// Finds, makes and removes the engine's one sync set for the portable home. The engine owns the set; nothing of it is
/// kept here. Main thread only. The engine's failures end here: they are logged and become a null.
class SyncSets
{
public:
    /// Borrows everything.
    SyncSets(platform::SyncManager& manager, HomeLocations& homes, platform::DistributedNotifications& notifications);

    /// The set, with the engine's own automatic syncing switched off: who wants background syncs switches them on
    /// again. With `create`, a missing set is made and announced, an existing one gets the home's present share and
    /// path, and neither has a remote home path afterwards. Null when there is none, or when the engine refuses a
    /// setting although the set exists.
    std::shared_ptr<platform::PhdSyncSet> getSyncSet(bool create);

    /// The set while a pass runs on it, else null.
    std::shared_ptr<platform::PhdSyncSet> activePHDSyncSet();

    /// Removes the set from the engine. Gives up, with a log line, on an engine that keeps reporting one.
    void forgetPHDSyncSets();

private:
    struct HomeShare {
        std::optional<std::string> url;
        std::optional<std::string> path;
    };
    HomeShare homeShare();
    std::shared_ptr<platform::PhdSyncSet> createSet(const HomeShare& share);
    static bool configure(platform::PhdSyncSet& set, bool create, bool isNew, const HomeShare& share);

    platform::SyncManager& mManager;
    HomeLocations& mHomes;
    platform::DistributedNotifications& mNotifications;
};

} // namespace roamer
