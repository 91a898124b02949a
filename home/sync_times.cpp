#include "sync_times.h"

#include "preference_keys.h"
#include "util/debug_log.h"
#include "util/path_text.h"

namespace roamer
{

namespace
{

constexpr const char* kNetworkCopy = "Library/Preferences/com.kestrel.roamer.plist"; // in the network home

} // namespace

SyncTimes::SyncTimes(RoamerPreferences& preferences, HomeLocations& homes, PreferenceDomains& files,
                     platform::RunLoop& runLoop)
    : mPreferences(preferences), mHomes(homes), mFiles(files), mRunLoop(runLoop)
{
}

void SyncTimes::saveSyncTime(const std::optional<std::string>& mountPoint)
{
    DebugLog(2, "Pavo.saveSyncTime");
    const auto time = mRunLoop.date();
    mPreferences.setRoamerValue(time, kRoamerTime);

    std::optional<std::string> path;
    if (const auto home = mHomes.getNetworkHomePath(mountPoint)) path = pathByAppending(*home, kNetworkCopy);

    auto copy = path ? mFiles.dictionaryWithContentsOfFile(*path) : std::nullopt;
    if (!copy) {
        DebugLog(1, "Pavo.saveSyncTime can't read \"%s\"", logText(path));
        copy.emplace();
    }
    (*copy)[kRoamerTime] = time;
    if (!path || !mFiles.writeToFile(*copy, *path, platform::PropertyListCodec::Format::Binary, true)) {
        DebugLog(1, "Pavo.saveSyncTime can't write \"%s\"", logText(path));
    }
}

} // namespace roamer
