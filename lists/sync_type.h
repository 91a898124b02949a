#pragma once

#include <array>
#include <cstdint>
#include <string>
#include <string_view>

namespace roamer
{

/// When a sync runs, whether it is a first one, and which share of the home it covers. The values are stable: they
/// index tables and are bit positions in masks.
enum SyncType : std::int32_t {
    kLoginSync = 0,
    kLoginPrefSync = 1,
    kLoginNonprefSync = 2,
    kLoginPeriodicSync = 3,
    kLoginFirstTimeSync = 4,
    kLoginFirstTimePrefSync = 5,
    kLoginFirstTimeNonprefSync = 6,
    kLoginPeriodicFirstTimeSync = 7,
    kLogoutSync = 8,
    kLogoutPrefSync = 9,
    kLogoutNonprefSync = 10,
    kLogoutPeriodicSync = 11,
    kLogoutFirstTimeSync = 12,
    kLogoutFirstTimePrefSync = 13,
    kLogoutFirstTimeNonprefSync = 14,
    kLogoutPeriodicFirstTimeSync = 15,
    kPeriodicSync = 16,
    kPeriodicAllPrefSync = 17,
    kNowPeriodicSync = 18,
    kNowAllPrefSync = 19,
    kAllSyncParts = 20, ///< In progress titles only; never synced.
};

inline constexpr std::array<std::string_view, 21> kSyncTypeNames = {
    "kLoginSync",
    "kLoginPrefSync",
    "kLoginNonprefSync",
    "kLoginPeriodicSync",
    "kLoginFirstTimeSync",
    "kLoginFirstTimePrefSync",
    "kLoginFirstTimeNonprefSync",
    "kLoginPeriodicFirstTimeSync",
    "kLogoutSync",
    "kLogoutPrefSync",
    "kLogoutNonprefSync",
    "kLogoutPeriodicSync",
    "kLogoutFirstTimeSync",
    "kLogoutFirstTimePrefSync",
    "kLogoutFirstTimeNonprefSync",
    "kLogoutPeriodicFirstTimeSync",
    "kPeriodicSync",
    "kPeriodicAllPrefSync",
    "kNowPeriodicSync",
    "kNowAllPrefSync",
    "kAllSyncParts",
};

/// The type's name; "UNKNOWN==" and the number for every other value.
inline std::string syncTypeUTF8String(std::int32_t syncType)
{
    if (syncType < 0 || syncType > kAllSyncParts) return "UNKNOWN==" + std::to_string(syncType);
    return std::string(kSyncTypeNames[static_cast<std::size_t>(syncType)]);
}

/// Whether the type's bit is set in a mask of types; false for every value from 20 on.
constexpr bool isInSyncTypeMask(std::int32_t syncType, std::uint32_t mask)
{
    return syncType >= 0 && syncType < kAllSyncParts && ((mask >> static_cast<unsigned>(syncType)) & 1U) != 0;
}

inline constexpr std::uint32_t kPreferenceClassMask = 0xA2222;
inline constexpr std::uint32_t kBackgroundSetClassMask = 0x58888;
inline constexpr std::uint32_t kNonPreferenceClassMask = 0x4444;
inline constexpr std::uint32_t kLoginSyncKeysMask = 0xA7777;

/// Whether the type's lists are those of the login/logout set; else those of the background set.
constexpr bool useLoginSyncKeys(std::int32_t syncType)
{
    return isInSyncTypeMask(syncType, kLoginSyncKeysMask);
}

static_assert(useLoginSyncKeys(kNowAllPrefSync) && !useLoginSyncKeys(kNowPeriodicSync) &&
              !useLoginSyncKeys(kAllSyncParts));
static_assert((kPreferenceClassMask & kBackgroundSetClassMask) == 0 &&
              (kNonPreferenceClassMask & (kPreferenceClassMask | kBackgroundSetClassMask)) == 0);

} // namespace roamer
