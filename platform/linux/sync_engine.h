#pragma once

#include <functional>
#include <memory>

#include "platform/run_loop.h"
#include "platform/sync_engine.h"

namespace platform
{

/// Starts the engine's process; returns whether a process was started at all.
using EngineStarter = std::function<bool()>;

/// The client of BraidAgent on the session bus, for the main thread. Calls wait for the engine's answer at most 10
/// seconds and start nothing; only reading and creating the set start an engine. Sets handed out may outlive the
/// manager, not the run loop. `starter`: null for BraidAgent below the system root, for this process's real user.
std::unique_ptr<SyncManager> makeSyncManager(RunLoop& runLoop, EngineStarter starter = nullptr);

} // namespace platform
