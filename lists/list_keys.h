#pragma once

#include <cstdint>

#include "home/preference_keys.h"
#include "sync_type.h"

namespace roamer
{

/// The preference keys of one of the two sets that a home is synced by.
struct ListKeys {
    const char* inclusionsManaged;
    const char* inclusions; ///< Also the name of the default list.
    const char* exclusionsManaged;
    const char* exclusions;        ///< Also the name of the default list.
    const char* earlierExclusions; ///< A default list that a person's own list may still equal; null for none.
    const char* replaceUser;       ///< Forced and true: the person's lists of this set do not count.
};

inline constexpr ListKeys kLoginListKeys = {
    .inclusionsManaged = kSyncedPrefFoldersManaged,
    .inclusions = kSyncedPrefFolders,
    .exclusionsManaged = kExcludedPrefItemsManaged,
    .exclusions = kExcludedPrefItems,
    .earlierExclusions = kExcludedPrefItemsEarlier,
    .replaceUser = kReplaceUserPrefSyncList,
};

inline constexpr ListKeys kBackgroundListKeys = {
    .inclusionsManaged = kSyncedFoldersManaged,
    .inclusions = kSyncedFolders,
    .exclusionsManaged = kExcludedItemsManaged,
    .exclusions = kExcludedItems,
    .earlierExclusions = nullptr,
    .replaceUser = kReplaceUserSyncList,
};

constexpr const ListKeys& listKeys(std::int32_t syncType)
{
    return useLoginSyncKeys(syncType) ? kLoginListKeys : kBackgroundListKeys;
}

} // namespace roamer
