#pragma once

#include <cstdint>
#include <string>

#include "sync_runner.h"

namespace roamer
{

/// The working values of one doSync.
struct SyncRunner::Pass {
    Set set; ///< Null once the engine is gone: nothing more is asked of it.
    std::uint64_t serial = 0;
    std::int32_t type = 0;
    std::uint32_t part = 0;
    std::uint32_t parts = 0;
    bool stopCancels = false;
    bool disableSleep = false;
    std::string name;          ///< The type's, for the log.
    bool waitWasEnded = false; ///< The process is to end and did not wait for the pass.
    long status = 0;
    Outcome outcome;
};

} // namespace roamer
