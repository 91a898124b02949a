#pragma once

#include <functional>
#include <vector>

#include "braid/engine.h"
#include "network_home.h"

namespace braid::agent
{

struct PassRequest {
    NetworkHome networkHome;
    std::vector<Job> jobs;
};

/// The engine as SyncAgent uses it: one pass at a time on the local home, off the main thread.
class PassEngine
{
public:
    using OnProgress = std::function<void(const Progress&)>;
    using OnEnd = std::function<void(const PassReport&)>;
    virtual ~PassEngine() = default;

    /// Both functions are called from the main run loop, never inside this call; `onEnd` once, as the last one. For
    /// when no pass runs.
    virtual void start(PassRequest request, OnProgress onProgress, OnEnd onEnd) = 0;

    /// Asks the pass to end soon; nothing happens when none runs.
    virtual void stop() = 0;

    /// What is unresolved in the local home's archive at this moment.
    virtual OpenMatters openMatters() = 0;
};

/// Tells of changes in the local home.
class HomeWatcher
{
public:
    virtual ~HomeWatcher() = default;

    /// Watches what the jobs sync; replaces an earlier watch. `changed` is called from the main run loop, never inside
    /// this call, at most a few times a second.
    virtual void watch(std::vector<Job> jobs, std::function<void()> changed) = 0;
    virtual void stop() = 0;
};

} // namespace braid::agent
