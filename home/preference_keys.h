#pragma once

namespace roamer
{

/// The preference domain that steers all syncing, and the keys in it. docs/preferences.md tells what each one means.
inline constexpr const char* kRoamerDomain = "com.kestrel.roamer";

// When to sync.
inline constexpr const char* kPeriodicSyncOn = "periodicSyncOn";
inline constexpr const char* kSyncPeriodSeconds = "syncPeriodSeconds";
inline constexpr const char* kSyncPreferencesAtLogin = "syncPreferencesAtLogin";
inline constexpr const char* kSyncPreferencesAtLogout = "syncPreferencesAtLogout";
inline constexpr const char* kSyncPreferencesInBackground = "syncPreferencesInBackground";
inline constexpr const char* kSyncPreferencesAtSyncNow = "syncPreferencesAtSyncNow";
inline constexpr const char* kSyncBackgroundSetAtLogin = "syncBackgroundSetAtLogin";
inline constexpr const char* kSyncBackgroundSetAtLogout = "syncBackgroundSetAtLogout";

// Login and logout.
inline constexpr const char* kIsNewMobileAccount = "isNewMobileAccount";
inline constexpr const char* kDisableLoginSyncCancel = "disableLoginSyncCancel";
inline constexpr const char* kDisableLogoutSyncCancel = "disableLogoutSyncCancel";
inline constexpr const char* kDisableFirstSyncCancel = "disableFirstSyncCancel";
inline constexpr const char* kLoginSyncDialogTimeoutSeconds = "loginSyncDialogTimeoutSeconds";
inline constexpr const char* kLogoutSyncDialogTimeoutSeconds = "logoutSyncDialogTimeoutSeconds";

// What the agent itself remembers.
inline constexpr const char* kRoamerCompleted = "roamerCompleted";
inline constexpr const char* kRoamerTime = "roamerTime"; ///< When the last sync was completed.
inline constexpr const char* kNetworkHomeNewerTime = "networkHomeNewerTime";
inline constexpr const char* kHomeChangeTime = "homeChangeTime"; ///< Only in the network home's copy.
inline constexpr const char* kSyncStatusPosition = "syncStatusPosition";

// What to sync. The names without "-managed" are also the names of default lists.
inline constexpr const char* kSyncedPrefFolders = "syncedPrefFolders";
inline constexpr const char* kSyncedPrefFoldersManaged = "syncedPrefFolders-managed";
inline constexpr const char* kSyncedFolders = "syncedFolders";
inline constexpr const char* kSyncedFoldersManaged = "syncedFolders-managed";
inline constexpr const char* kReplaceUserPrefSyncList = "replaceUserPrefSyncList";
inline constexpr const char* kReplaceUserSyncList = "replaceUserSyncList";
inline constexpr const char* kExcludedPrefItems = "excludedPrefItems";
inline constexpr const char* kExcludedPrefItemsManaged = "excludedPrefItems-managed";
inline constexpr const char* kExcludedItems = "excludedItems";
inline constexpr const char* kExcludedItemsManaged = "excludedItems-managed";

// Default lists that are no keys.
inline constexpr const char* kExcludedAlways = "excludedAlways";
inline constexpr const char* kExcludedPrefItemsEarlier = "excludedPrefItems-10.4.3"; ///< An earlier default.

// How to resolve conflicts, and which errors to keep from the person.
inline constexpr const char* kLoginPrefSyncConflictResolution = "loginPrefSyncConflictResolution";
inline constexpr const char* kLoginNonprefSyncConflictResolution = "loginNonprefSyncConflictResolution";
inline constexpr const char* kLogoutPrefSyncConflictResolution = "logoutPrefSyncConflictResolution";
inline constexpr const char* kLogoutNonprefSyncConflictResolution = "logoutNonprefSyncConflictResolution";
inline constexpr const char* kBackgroundConflictResolution = "backgroundConflictResolution";
inline constexpr const char* kLoginPrefSuppressErrors = "loginPrefSuppressErrors";
inline constexpr const char* kLoginNonprefSuppressErrors = "loginNonprefSuppressErrors";
inline constexpr const char* kLogoutPrefSuppressErrors = "logoutPrefSuppressErrors";
inline constexpr const char* kLogoutNonprefSuppressErrors = "logoutNonprefSuppressErrors";
inline constexpr const char* kFirstSyncSuppressErrors = "firstSyncSuppressErrors";
inline constexpr const char* kBackgroundSuppressErrors = "backgroundSuppressErrors";

// Words that keys hold.
inline constexpr const char* kDontSyncWord = "dontSync"; ///< Every other value means that it is synced.
inline constexpr const char* kShowConflictDialogsWord = "showConflictDialogs";
inline constexpr const char* kMobileHomeWinsWord = "mobileHomeWins";
inline constexpr const char* kNetworkHomeWinsWord = "networkHomeWins";
inline constexpr const char* kMobileHomeCopyWord = "mobileHomeCopy";
inline constexpr const char* kNetworkHomeCopyWord = "networkHomeCopy";

} // namespace roamer
