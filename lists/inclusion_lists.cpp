#include "inclusion_lists.h"

#include <algorithm>

#include "inclusion_entry.h"
#include "list_keys.h"
#include "list_text.h"
#include "util/debug_log.h"
#include "util/path_text.h"

namespace roamer
{

namespace
{

/// With this entry a preference sync takes the hidden items of the home along.
constexpr const char* kLibrary = "Library";

/// Hidden at the top of the home, but not the person's: temporary files of the engine, and a volume's own store.
constexpr std::string_view kTemporaryPrefix = ".fstemp";
constexpr std::string_view kVolumeStore = ".FV_Store";

bool isHiddenItem(std::string_view name)
{
    return name.starts_with('.') && !name.starts_with(kTemporaryPrefix) && name != kVolumeStore;
}

int countOfPaths(const InclusionSet& set)
{
    return set ? static_cast<int>(set->size()) : -1;
}

/// Whether an item is the path itself or a folder above it.
bool isCovered(const std::string& path, const std::set<std::string>& items)
{
    if (items.contains(path)) return true;
    for (auto slash = path.find('/'); slash != std::string::npos; slash = path.find('/', slash + 1)) {
        if (items.contains(path.substr(0, slash))) return true;
    }
    return false;
}

} // namespace

InclusionLists::InclusionLists(const std::optional<AmruVEXRecord>& userRecord, RoamerPreferences& preferences,
                               HomeLocations& locations, platform::FileSystem& fileSystem,
                               ExclusionLists& exclusionLists, platform::EffectiveUser& effectiveUser)
    : mUserRecord(userRecord), mPreferences(preferences), mLocations(locations), mFileSystem(fileSystem),
      mExclusionLists(exclusionLists), mEffectiveUser(effectiveUser), mSource(preferences, "getInclusionList")
{
}

InclusionSet InclusionLists::getInclusionList(std::int32_t syncType,
                                              const std::optional<std::string>& networkHomeMountpoint,
                                              std::optional<MatchRules>* extraExclusions)
{
    DebugLog(2, "Pavo.getInclusionList: syncType=%s", syncTypeUTF8String(syncType).c_str());
    mSource.warnAboutRoot(mUserRecord, mEffectiveUser);

    const auto inclusionList = includeListFromPavoIncludeList(chosenList(listKeys(syncType)));
    DebugLog(2, "Pavo.getInclusionList before filterInclusionList: inclusion list has %d items.",
             countOfPaths(inclusionList));
    return filterInclusionList(inclusionList, syncType, networkHomeMountpoint, extraExclusions);
}

std::optional<Array> InclusionLists::chosenList(const ListKeys& keys)
{
    DebugLog(2, "Pavo.getInclusionList looking for managed list");
    if (mPreferences.roamerValueIsForced(keys.inclusionsManaged)) return mSource.list(keys.inclusionsManaged);
    if (mSource.userIsReplaced(keys.replaceUser)) return std::nullopt;

    DebugLog(2, "Pavo.getInclusionList looking for unmanaged list");
    if (auto list = mSource.list(keys.inclusions)) return list;
    return listWithoutUserSetting(keys.inclusions);
}

/// An account that has no preference file yet was never set up for syncing, so the defaults do not apply to it.
std::optional<Array> InclusionLists::listWithoutUserSetting(const char* key)
{
    const auto home = mUserRecord ? mUserRecord->home() : std::nullopt;
    const auto folder = pathByAppending(home.value_or(""), "Library/Preferences");
    const auto file = pathByAppending(folder, std::string(kRoamerDomain) + ".plist");
    if (home && mFileSystem.exists(file)) return mSource.defaultList(key);
    DebugLog(2, "Pavo.getInclusionList using empty list for missing pref file \"%s\"", file.c_str());
    return std::nullopt;
}

InclusionSet InclusionLists::filterInclusionList(const InclusionSet& inclusionList, std::int32_t syncType,
                                                 const std::optional<std::string>& networkHomeMountpoint,
                                                 std::optional<MatchRules>* extraExclusions)
{
    const auto typeName = syncTypeUTF8String(syncType);
    DebugLog(2, "Pavo.filterInclusionList:%s", typeName.c_str());
    if (extraExclusions != nullptr) extraExclusions->reset();

    InclusionSet result = inclusionList;
    if (inclusionList && isInSyncTypeMask(syncType, kBackgroundSetClassMask)) {
        excludePreferenceItems(typeName, extraExclusions);
    } else if (inclusionList && isInSyncTypeMask(syncType, kPreferenceClassMask)) {
        result = preferenceShare(*inclusionList, networkHomeMountpoint);
        if (inclusionList->empty()) {
            DebugLog(2, "Pavo.filterInclusionList:%s inclusionList = \"%s\".", typeName.c_str(),
                     description(result).c_str());
        }
    } else if (inclusionList && isInSyncTypeMask(syncType, kNonPreferenceClassMask)) {
        if (inclusionList->empty()) {
            excludePreferenceItems(typeName, extraExclusions);
        } else {
            result = nonPreferenceShare(*inclusionList, networkHomeMountpoint);
        }
    }

    const bool hasExtras = extraExclusions != nullptr && extraExclusions->has_value();
    DebugLog(2, "Pavo.filterInclusionList:%s inclusionList with %d items; extraExclusions with %d items.",
             typeName.c_str(), countOfPaths(result), hasExtras ? static_cast<int>((*extraExclusions)->size()) : -1);
    return result;
}

InclusionSet InclusionLists::preferenceShare(const std::set<std::string>& paths,
                                             const std::optional<std::string>& networkHomeMountpoint)
{
    auto items = preferenceIncludeList(networkHomeMountpoint);
    if (paths.empty()) return items;

    std::set<std::string> kept;
    std::ranges::copy_if(paths, std::inserter(kept, kept.end()),
                         [&](const std::string& path) { return isCovered(path, items); });
    if (kept.contains(kLibrary)) kept.merge(items);
    if (kept.empty()) return std::nullopt;
    return kept;
}

InclusionSet InclusionLists::nonPreferenceShare(std::set<std::string> paths,
                                                const std::optional<std::string>& networkHomeMountpoint)
{
    const auto items = preferenceIncludeList(networkHomeMountpoint);
    std::erase_if(paths, [&](const std::string& path) { return isCovered(path, items); });
    if (paths.empty()) return std::nullopt;
    return paths;
}

void InclusionLists::excludePreferenceItems(const std::string& typeName, std::optional<MatchRules>* extraExclusions)
{
    if (extraExclusions == nullptr) return;
    *extraExclusions = mExclusionLists.preferenceExcludeList();
    DebugLog(2, "Pavo.filterInclusionList:%s *extraExclusions = \"%s\".", typeName.c_str(),
             description(**extraExclusions).c_str());
}

std::set<std::string> InclusionLists::preferenceIncludeList(const std::optional<std::string>& networkHomeMountpoint)
{
    DebugLog(2, "Pavo.preferenceIncludeList ADDING kPavoSyncedPrefFoldersKey");
    auto items = includeListFromPavoIncludeList(mPreferences.getDefaultList(kSyncedPrefFolders))
                     .value_or(std::set<std::string>{});
    if (mUserRecord) addHiddenItems(mUserRecord->home(), items);
    addHiddenItems(mLocations.getNetworkHomePath(networkHomeMountpoint), items);
    return items;
}

void InclusionLists::addHiddenItems(const std::optional<std::string>& home, std::set<std::string>& items)
{
    if (!home) return;
    const auto names = mFileSystem.contentsOfDirectory(*home);
    if (!names) return;
    for (const auto& name : *names) {
        if (!isHiddenItem(name) || !items.insert(name).second) continue;
        DebugLog(2, "Pavo.preferenceIncludeList ADDING \"%s\"", name.c_str());
    }
}

} // namespace roamer
