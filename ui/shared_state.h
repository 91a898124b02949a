#pragma once

#include <cstdint>
#include <map>
#include <memory>
#include <optional>
#include <string>

#include "directory/amru_vex_record.h"
#include "pavo_progress.h"

namespace roamer
{

enum ServerBusyState : std::int32_t {
    kPavoNotBusy = 0,
    kPavoSyncNow = 1,
    kPavoRefreshPreferences = 2,
};

/// What the flows and their components share. Pavod_VEX owns the one instance; only the main thread touches it.
struct SharedState {
    std::optional<AmruVEXRecord> mUserRecord; ///< The account; null until the first successful check.
    std::unique_ptr<PavoProgress> mProgress;  ///< While a progress window is shown.
    ServerBusyState mServerBusyState = kPavoNotBusy;
    bool mLoggingOut = false;                                 ///< Set by the logout checks, never cleared.
    std::map<std::string, std::string> mLocalizedStringsDict; ///< Texts by key.
    bool mPavoBlockProgressTimer = false;                     ///< The window is being taken down.
};

} // namespace roamer
