#pragma once

#include <functional>
#include <optional>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "braid/engine.h"
#include "braid/resolve.h"
#include "computers.h"
#include "network_home.h"

namespace braid::agent
{

/// What a person decided on recorded conflicts of one job.
struct Decision {
    std::vector<std::string> paths;
    Keep keep = Keep::Local;
    std::vector<MatchRule> exclusions; ///< Of that job.
};

struct PassRequest {
    NetworkHome networkHome;
    std::vector<Job> jobs;
    bool allowMassDeletion = false;
    bool forgetsFirst = false;       ///< As a first sync, in which whatever is left on one side comes back.
    Occasion occasion = Occasion::Asked;
    std::vector<Decision> decisions; ///< Not empty: carries them out instead of syncing the jobs.
};

struct PassResult {
    PassReport report;
    std::vector<std::pair<std::string, std::string>> beside; ///< Of decisions to keep both, as in ResolutionReport.
    std::vector<Computer> computers;                         ///< Others that sync with this network home.
};

/// The engine as SyncAgent uses it: one pass at a time on the local home, off the main thread.
class PassEngine
{
public:
    using OnProgress = std::function<void(const Progress&)>;
    using OnMatters = std::function<void(const OpenMatters& fresh)>;
    using OnEnd = std::function<void(const PassResult&)>;
    virtual ~PassEngine() = default;

    /// The functions are called from the main run loop, never inside this call; `onMatters` as PassSettings has it,
    /// `onEnd` once, as the last one. For when no pass runs.
    virtual void start(PassRequest request, OnProgress onProgress, OnMatters onMatters, OnEnd onEnd) = 0;

    /// Asks the pass to end soon; nothing happens when none runs.
    virtual void stop() = 0;

    /// What is unresolved in the local home's archive at this moment.
    virtual OpenMatters openMatters() = 0;

    /// Whether these items of the local home are as the last pass left them.
    virtual bool isAsAgreed(const std::set<std::string>& paths) = 0;

    /// Removes all that is remembered of earlier passes, or says in words why that cannot be. For when no pass runs.
    virtual std::optional<std::string> forget() = 0;
};

/// What a watcher saw since it told last.
struct HomeChanges {
    std::set<std::string> paths; ///< Home-relative; items that some job covers.
    bool isMore = false;         ///< Too much to be listed.
};

/// Tells of changes in the local home.
class HomeWatcher
{
public:
    virtual ~HomeWatcher() = default;

    /// Watches what the jobs sync; replaces an earlier watch. `changed` is called from the main run loop, never inside
    /// this call, at most a few times a second.
    virtual void watch(std::vector<Job> jobs, std::function<void(const HomeChanges&)> changed) = 0;
    virtual void stop() = 0;
};

/// The program that shows a person what needs one.
class ConflictsApp
{
public:
    enum class State { Absent, Starting, Shown };
    virtual ~ConflictsApp() = default;

    virtual State state() const = 0;

    /// Starts it, or brings its window to the front; nothing without a display. `withSetAside`: shows also what a
    /// person put aside.
    virtual void show(bool withSetAside) = 0;

    /// Ends it without a word.
    virtual void end() = 0;

    /// `changed` is called from the main run loop, at each change of state, never inside show() or end().
    virtual void setStateListener(std::function<void()> changed) = 0;
};

} // namespace braid::agent
