#pragma once

#include <cstdint>
#include <memory>
#include <optional>

#include "platform/run_loop.h"
#include "platform/sync_engine.h"
#include "values/property_list.h"

namespace roamer
{

/// The record of the running pass and of the waits around it. One instance, filled anew by every pass.
struct SyncCallbackData {
    using Time = platform::RunLoop::Clock::time_point;

    /// Counts the passes. Who keeps a record across a slice of the run loop compares it afterwards: a command that
    /// arrived in the slice may have run a pass of its own.
    std::uint64_t serial = 0;

    std::int32_t syncType = 0;
    std::uint32_t syncPart = 0; ///< From 1.
    std::uint32_t syncParts = 0;
    bool syncIsActive = false;               ///< doSync waits for the pass.
    std::optional<Array> lastSyncPassStatus; ///< The engine's latest list of pass statuses.
    std::weak_ptr<platform::PhdSyncSet> phdSyncSet;
    bool disableSleep = false;
    bool conflicts = false; ///< Some status of this pass reported unresolved conflicts.

    // As the last status that a wait has seen reported it.
    bool syncIsIdle = false;
    bool braidUIRunning = false; ///< The engine's application for conflicts and errors.
    std::uint32_t unresolvedConflicts = 0;
    std::uint32_t unresolvedErrors = 0;

    std::optional<Time> lastCallBack; ///< When the last status arrived.
};

} // namespace roamer
