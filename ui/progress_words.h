#pragma once

#include <array>
#include <cstddef>
#include <cstdint>

#include "lists/sync_type.h"

namespace roamer
{

/// How the progress window speaks of a sync type.
struct SyncTypeWords {
    const char* jobKey;
    bool isBelowLibrary; ///< Its items lie in the home's library folder.
};

inline constexpr const char* kJobPreference = "PAVO_PROG_TITLE_JOB_PREFERENCE";
inline constexpr const char* kJobLogin = "PAVO_PROG_TITLE_JOB_LOGIN";
inline constexpr const char* kJobLogout = "PAVO_PROG_TITLE_JOB_LOGOUT";
inline constexpr const char* kJobBackground = "PAVO_PROG_TITLE_JOB_BACKGROUND";
inline constexpr const char* kJobAll = "PAVO_PROG_TITLE_JOB_All"; // The key really is in mixed case.

/// By sync type.
inline constexpr auto kSyncTypeWords = std::to_array<SyncTypeWords>({
    {kJobPreference, false}, // kLoginSync
    {kJobPreference, true},  // kLoginPrefSync
    {kJobLogin, false},      // kLoginNonprefSync
    {kJobBackground, false}, // kLoginPeriodicSync
    {kJobPreference, false}, // kLoginFirstTimeSync
    {kJobPreference, true},  // kLoginFirstTimePrefSync
    {kJobLogin, false},      // kLoginFirstTimeNonprefSync
    {kJobBackground, false}, // kLoginPeriodicFirstTimeSync
    {kJobBackground, false}, // kLogoutSync
    {kJobPreference, true},  // kLogoutPrefSync
    {kJobLogout, false},     // kLogoutNonprefSync
    {kJobBackground, false}, // kLogoutPeriodicSync
    {kJobBackground, false}, // kLogoutFirstTimeSync
    {kJobPreference, true},  // kLogoutFirstTimePrefSync
    {kJobLogout, false},     // kLogoutFirstTimeNonprefSync
    {kJobBackground, false}, // kLogoutPeriodicFirstTimeSync
    {kJobBackground, false}, // kPeriodicSync
    {kJobPreference, true},  // kPeriodicAllPrefSync
    {kJobBackground, false}, // kNowPeriodicSync
    {kJobPreference, true},  // kNowAllPrefSync
    {kJobAll, false},        // kAllSyncParts
});
static_assert(kSyncTypeWords.size() == kAllSyncParts + 1);

/// Null for a value that is no sync type.
constexpr const SyncTypeWords* findSyncTypeWords(std::int32_t syncType)
{
    if (syncType < 0 || syncType > kAllSyncParts) return nullptr;
    return &kSyncTypeWords[static_cast<std::size_t>(syncType)];
}

inline constexpr const char* kStateFinishing = "PAVO_PROG_TITLE_SYNCSTATE_FINISHING";

/// By sync state: the engine's own 0 to 6, then cancelling and skipping.
inline constexpr auto kSyncStateKeys = std::to_array<const char*>({
    kStateFinishing,
    "PAVO_PROG_TITLE_SYNCSTATE_STARTING",
    "PAVO_PROG_TITLE_SYNCSTATE_UPDATING",
    "PAVO_PROG_TITLE_SYNCSTATE_CHECKING",
    "PAVO_PROG_TITLE_SYNCSTATE_PROCESSING",
    "PAVO_PROG_TITLE_SYNCSTATE_CLEANING",
    kStateFinishing,
    "PAVO_PROG_TITLE_SYNCSTATE_CANCELLING",
    "PAVO_PROG_TITLE_SYNCSTATE_SKIPPING",
});

constexpr const char* syncStateKey(std::int32_t syncState)
{
    const auto index = static_cast<std::size_t>(syncState);
    return index < kSyncStateKeys.size() ? kSyncStateKeys[index] : kStateFinishing;
}

} // namespace roamer
