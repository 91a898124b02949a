#pragma once

#include <array>
#include <cstdint>
#include <string>
#include <string_view>

namespace roamer
{

/// Where the engine's set stands: what it reports under SyncSetStateKey.
enum SyncSetState : std::int32_t {
    SyncSetStateIdle = 0, ///< Nothing runs; a pass that ran has ended.
    SyncSetStateStarting = 1,
    SyncSetStateUpdating = 2,
    SyncSetStateChecking = 3,
    SyncSetStateProcessing = 4, ///< Copying; the only state with progress figures.
    SyncSetStateCleanup = 5,
    SyncSetStateFinished = 6,
    SyncSetStateAborted = 7,
    SyncSetStateInvalid = 8,
};

inline constexpr std::array<std::string_view, 9> kSyncSetStateNames = {
    "SyncSetStateIdle",     "SyncSetStateStarting",   "SyncSetStateUpdating",
    "SyncSetStateChecking", "SyncSetStateProcessing", "SyncSetStateCleanup",
    "SyncSetStateFinished", "SyncSetStateAborted",    "SyncSetStateInvalid",
};

/// The state's name; "UNKNOWN==" and the number for every other value.
inline std::string syncStateUTF8String(std::int32_t state)
{
    if (state < 0 || state > SyncSetStateInvalid) return "UNKNOWN==" + std::to_string(state);
    return std::string(kSyncSetStateNames[static_cast<std::size_t>(state)]);
}

} // namespace roamer
