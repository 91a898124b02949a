#include "sync_times.h"

#include "preference_keys.h"
#include "util/debug_log.h"
#include "util/path_text.h"
#include "util/typed_reads.h"

namespace roamer
{

namespace
{

constexpr const char* kNetworkCopy = "Library/Preferences/com.kestrel.roamer.plist"; // in the network home
constexpr const char* kUnknownTime = "(unknown)";

/// Where the network copy is, for the log.
std::optional<std::string> copyPath(const std::optional<std::string>& home)
{
    return home ? std::optional(pathByAppending(*home, kNetworkCopy)) : std::nullopt;
}

} // namespace

SyncTimes::SyncTimes(RoamerPreferences& preferences, HomeLocations& homes, PreferenceDomains& files,
                     platform::RunLoop& runLoop, platform::Bundles& bundles, platform::UserFormats& formats)
    : mPreferences(preferences), mHomes(homes), mFiles(files), mRunLoop(runLoop), mBundles(bundles), mFormats(formats),
      mDates(formats, runLoop)
{
}

void SyncTimes::saveSyncTime(const std::optional<std::string>& mountPoint)
{
    DebugLog(2, "Pavo.saveSyncTime");
    const auto time = mRunLoop.date();
    mPreferences.setRoamerValue(time, kRoamerTime);

    const auto home = mHomes.getNetworkHomePath(mountPoint);
    auto copy = home ? mFiles.dictionaryInHome(*home, kNetworkCopy) : std::nullopt;
    if (!copy) {
        DebugLog(1, "Pavo.saveSyncTime can't read \"%s\"", logText(copyPath(home)));
        copy.emplace();
    }
    (*copy)[kRoamerTime] = time;
    if (!home || !mFiles.writeInHome(*copy, *home, kNetworkCopy)) {
        DebugLog(1, "Pavo.saveSyncTime can't write \"%s\"", logText(copyPath(home)));
    }
}

bool SyncTimes::isNetworkHomeNewer(const std::optional<std::string>& networkHomePath, std::string& localLastSyncTime,
                                   std::string& origLastSyncTime)
{
    localLastSyncTime = kUnknownTime;
    origLastSyncTime = kUnknownTime;
    const bool isNewer = compareTimes(networkHomePath, localLastSyncTime, origLastSyncTime);
    DebugLog(2, "Pavo.isNetworkHomeNewer returning %s", isNewer ? "TRUE" : "FALSE");
    return isNewer;
}

bool SyncTimes::compareTimes(const std::optional<std::string>& networkHomePath, std::string& localLastSyncTime,
                             std::string& origLastSyncTime)
{
    const auto words = mBundles.bundleWithPath(platform::kMenuExtraBundlePath);
    const auto synced = mPreferences.getRoamerValue<Date>(kRoamerTime, std::nullopt);
    if (!synced) return true;
    localLastSyncTime = inWords(*synced, words.get());
    DebugLog(2, "Pavo.isNetworkHomeNewer lastSyncDate = %s *lastSyncDateStr = %s",
             PropertyList(*synced).description().c_str(), localLastSyncTime.c_str());

    const auto changed = readChangeTime(networkHomePath);
    if (!changed) return false;
    origLastSyncTime = inWords(*changed, words.get());
    DebugLog(2, "Pavo.isNetworkHomeNewer netHomeChangeDate = %s *netHomeChangeDateStr = %s",
             PropertyList(*changed).description().c_str(), origLastSyncTime.c_str());

    if (*changed <= *synced) return false;
    DebugLog(1, "Pavo.isNetworkHomeNewer path= %s key=%s (net) %s", logText(copyPath(networkHomePath)), kHomeChangeTime,
             origLastSyncTime.c_str());
    DebugLog(1, "Pavo.isNetworkHomeNewer domain=%s key=%s (local) %s", kRoamerDomain, kRoamerTime,
             localLastSyncTime.c_str());
    return true;
}

std::optional<Date> SyncTimes::readChangeTime(const std::optional<std::string>& networkHomePath)
{
    const auto path = copyPath(networkHomePath);
    const auto copy = networkHomePath ? mFiles.dictionaryInHome(*networkHomePath, kNetworkCopy) : std::nullopt;
    if (!copy) {
        DebugLog(1, "Pavo.isNetworkHomeNewer can't read \"%s\"", logText(path));
        return std::nullopt;
    }
    DebugLog(2, "Pavo.isNetworkHomeNewer read \"%s\"", logText(path));
    const auto* time = objectForKey<Date>(*copy, kHomeChangeTime);
    if (time == nullptr) {
        DebugLog(1, "Pavo.isNetworkHomeNewer can't read key \"%s\" from \"%s\"", kHomeChangeTime, logText(path));
        return std::nullopt;
    }
    return *time;
}

std::string SyncTimes::inWords(Date date, const platform::Bundle* stringBundle) const
{
    const auto dateFormat = mFormats.shortDateFormat();
    const auto timeFormat = mDates.hourMinuteFormat();
    if (!dateFormat || !timeFormat) return kUnknownTime;
    return mDates.localizedRelativeWithDateFormat(date, *dateFormat, *timeFormat, stringBundle);
}

} // namespace roamer
