#pragma once

#include <optional>
#include <string>

#include "braid/engine.h"
#include "values/property_list.h"

namespace braid::agent
{

/// A moment of the engine.
struct Status {
    Progress progress;
    std::uint64_t conflicts = 0; ///< That need a person; the progress counts also those that a person put aside.
    std::uint64_t errors = 0;
    bool uiAppIsRunning = false;
    int lastResult = kPassSucceeded;
    std::string lastReason; ///< In words, when the last pass did not succeed.
};

/// Under the status keys of platform/sync_engine.h. The pass statuses hold one entry per job that has ended, without
/// a name for one that did what it was to do, and one named kPassFailedName for a pass that failed as a whole.
roamer::Dictionary describe(const Status& status);

inline constexpr const char* kPassFailedName = "SyncPassFailed";

} // namespace braid::agent
