#include "home_locations.h"

#include <map>
#include <string_view>

#include "platform/failure.h"
#include "util/debug_log.h"
#include "util/path_text.h"
#include "util/pseudo_xml.h"
#include "util/url_text.h"

namespace roamer
{

namespace
{

using String = std::optional<std::string>;
using Location = std::optional<std::map<std::string, std::string>>;

constexpr std::string_view kAutomountPrefix = "/Network/Servers/";
constexpr std::string_view kNfsScheme = "nfs://";
constexpr const char* kMarkerFolder = ".Braid";

String nonEmpty(String text)
{
    return text && !text->empty() ? text : std::nullopt;
}

Location locationOf(const std::optional<AmruVEXRecord>& record)
{
    const auto text = record ? record->originalHomeLoc() : std::nullopt;
    return dictionaryWithPseudoXMLString(text ? &*text : nullptr);
}

String entryOf(const Location& location, const char* name)
{
    if (!location) return std::nullopt;
    const auto entry = location->find(name);
    return entry != location->end() ? nonEmpty(entry->second) : std::nullopt;
}

bool isAutomounted(const std::string& home)
{
    return home.starts_with(kAutomountPrefix);
}

/// The last component is the user's own folder, what stands before it the server and its share.
std::string shareOfAutomount(const std::string& home)
{
    const auto below = std::string_view(home).substr(kAutomountPrefix.size());
    return std::string(kNfsScheme).append(pathByDeletingLastComponent(below));
}

} // namespace

HomeLocations::HomeLocations(const std::optional<AmruVEXRecord>& userRecord, platform::FileSystem& fileSystem)
    : mUserRecord(userRecord), mFileSystem(fileSystem)
{
}

std::optional<std::string> HomeLocations::getOriginalUserHomeURL() const
{
    auto url = entryOf(locationOf(mUserRecord), "url");
    if (!url && mUserRecord) {
        const auto home = mUserRecord->originalHome();
        if (home && isAutomounted(*home)) url = shareOfAutomount(*home);
    }
    DebugLog(2, "Pavo.getOriginalUserHomeURL url = %s", logText(urlWithoutUserInfo(url)));
    return url;
}

std::optional<std::string> HomeLocations::getOriginalUserHomePath() const
{
    String path;
    if (const auto location = locationOf(mUserRecord)) {
        path = entryOf(location, "path");
    } else if (mUserRecord) {
        const auto home = mUserRecord->originalHome();
        path = nonEmpty(home && isAutomounted(*home) ? lastPathComponent(*home) : home);
    }
    DebugLog(2, "Pavo.getOriginalUserHomePath path = %s", logText(path));
    return path;
}

std::optional<std::string> HomeLocations::getNetworkHomePath(const std::optional<std::string>& mountPoint) const
{
    const auto url = getOriginalUserHomeURL();
    auto path = getOriginalUserHomePath();
    if (!url) return path;
    if (!mountPoint) return mUserRecord ? mUserRecord->originalHome() : std::nullopt;
    if (!path) return mountPoint;
    return pathByAppending(*mountPoint, *path);
}

bool HomeLocations::isValidNetworkHome(const std::string& path) const
{
    const auto marker = pathByAppending(path, kMarkerFolder);
    const bool valid = mFileSystem.exists(marker);
    // Taking silence for a missing marker would start the pair of homes over.
    if (!valid && !mFileSystem.answers(marker)) {
        throw platform::Failure("NetworkHomeNotAnswering", "The network home at \"" + path + "\" does not answer.");
    }
    DebugLog(2, "Pavod.isValidNetworkHome:checking for \"%s\", returning = %d", marker.c_str(), valid);
    return valid;
}

bool HomeLocations::directoryIsReadable(const std::string& path) const
{
    return mFileSystem.directoryIsReadable(path);
}

bool HomeLocations::makeDirectoryPath(const std::optional<std::string>& path) const
{
    if (!path || !path->starts_with('/')) return false;
    if (directoryIsReadable(*path)) return true;
    std::string folder;
    for (const auto& component : pathComponents(*path)) {
        folder = component == "/" ? component : pathByAppending(folder, component);
        // Most of them exist; whether it all worked shows in the end.
        (void)mFileSystem.createDirectory(folder);
    }
    return directoryIsReadable(*path);
}

} // namespace roamer
