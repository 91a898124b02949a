#pragma once

#include <optional>
#include <string>

#include "home_locations.h"
#include "platform/run_loop.h"
#include "roamer_preferences.h"
#include "util/preference_domains.h"

namespace roamer
{

/// When the two homes were last in step: the same instant in this computer's preferences and in the network home's own
/// copy of them.
class SyncTimes
{
public:
    /// Borrows all of them.
    SyncTimes(RoamerPreferences& preferences, HomeLocations& homes, PreferenceDomains& files,
              platform::RunLoop& runLoop);

    /// Writes the present time to both places; `mountPoint` is where the network home's share is mounted. A network
    /// copy that cannot be read is started anew; one that cannot be written is logged, and the local time stands.
    void saveSyncTime(const std::optional<std::string>& mountPoint);

private:
    RoamerPreferences& mPreferences;
    HomeLocations& mHomes;
    PreferenceDomains& mFiles;
    platform::RunLoop& mRunLoop;
};

} // namespace roamer
