#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <utility>

#include "lists/sync_type.h"
#include "login_logout_sync.h"
#include "sync/sync_jobs.h"
#include "values/window_frame.h"

namespace roamer
{

/// The sync types of one run: the sync as a whole and its three jobs.
struct LoginLogoutTypes {
    std::int32_t overall;
    std::int32_t preferences;
    std::int32_t otherFolders;
    std::int32_t periodicSet;
};

constexpr LoginLogoutTypes loginLogoutTypes(bool atLogin, bool firstTime)
{
    const std::int32_t base = (atLogin ? kLoginSync : kLogoutSync) + (firstTime ? kLoginFirstTimeSync : 0);
    return {.overall = base, .preferences = base + 1, .otherFolders = base + 2, .periodicSet = base + 3};
}
static_assert(loginLogoutTypes(true, false).periodicSet == kLoginPeriodicSync);
static_assert(loginLogoutTypes(true, true).otherFolders == kLoginFirstTimeNonprefSync);
static_assert(loginLogoutTypes(false, false).preferences == kLogoutPrefSync);
static_assert(loginLogoutTypes(false, true).periodicSet == kLogoutPeriodicFirstTimeSync);

/// The working values of one login or logout.
struct LoginLogoutSync::Run {
    Run(bool login, bool first, platform::Secret secret, bool& prefs, bool& all)
        : atLogin(login), firstTimeSync(first), password(std::move(secret)), prefSyncCompleted(prefs),
          allSyncsCompleted(all)
    {
    }

    const bool atLogin;
    bool firstTimeSync;
    platform::Secret password; ///< Until the share is mounted.
    bool& prefSyncCompleted;
    bool& allSyncsCompleted;
    std::int32_t status = 0;

    bool allowCancel = true;
    std::optional<std::string> mountPoint; ///< Of a share that this run mounted.
    std::optional<std::string> networkHomePath;
    bool validNetworkHome = false;
    bool forgetMirrorPair = false;

    LoginLogoutTypes types{};
    SyncJob preferences;
    SyncJob otherFolders;
    SyncJob periodicSet;
    int conflictResolution = 0; ///< Of the preference job.

    std::int16_t lockFileRefNum = 0; ///< 0: the home is not locked.
    bool skipSync = false;
    bool conflicts = false; ///< Of the last pass.
    int mirrorAgentPID = 0; ///< 0: no engine was started.
    SyncRunner::Set set;
    SyncJobs jobs;
    WindowFrame progressFrame; ///< Where the progress window was.
};

} // namespace roamer
