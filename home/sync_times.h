#pragma once

#include <optional>
#include <string>

#include "home_locations.h"
#include "platform/bundle.h"
#include "platform/run_loop.h"
#include "platform/user_formats.h"
#include "roamer_preferences.h"
#include "util/preference_domains.h"
#include "util/relative_dates.h"

namespace roamer
{

/// When the two homes were last in step: the same instant in this computer's preferences and in the network home's own
/// copy of them. The copy also tells when the network home was last changed by a computer that works in it directly.
class SyncTimes
{
public:
    /// Borrows all of them.
    SyncTimes(RoamerPreferences& preferences, HomeLocations& homes, PreferenceDomains& files,
              platform::RunLoop& runLoop, platform::Bundles& bundles, platform::UserFormats& formats);

    /// Writes the present time to both places; `mountPoint` is where the network home's share is mounted. A network
    /// copy that cannot be read is started anew; one that cannot be written is logged, and the local time stands.
    void saveSyncTime(const std::optional<std::string>& mountPoint);

    /// Whether the network home was changed after this computer last synced with it, and both times in words for the
    /// person; "(unknown)" for one that there is not. A computer that has never synced finds it newer; a network home
    /// that does not tell its time is not newer.
    bool isNetworkHomeNewer(const std::optional<std::string>& networkHomePath, std::string& localLastSyncTime,
                            std::string& origLastSyncTime);

private:
    bool compareTimes(const std::optional<std::string>& networkHomePath, std::string& localLastSyncTime,
                      std::string& origLastSyncTime);
    std::optional<Date> readChangeTime(const std::optional<std::string>& networkHomePath);
    std::string inWords(Date date, const platform::Bundle* stringBundle) const;

    RoamerPreferences& mPreferences;
    HomeLocations& mHomes;
    PreferenceDomains& mFiles;
    platform::RunLoop& mRunLoop;
    platform::Bundles& mBundles;
    platform::UserFormats& mFormats;
    RelativeDates mDates;
};

} // namespace roamer
