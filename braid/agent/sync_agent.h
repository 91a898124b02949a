#pragma once

#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <variant>

#include "background_schedule.h"
#include "pass_engine.h"
#include "pass_plan.h"
#include "platform/run_loop.h"
#include "status.h"
#include "sync_set.h"
#include "sync_set_store.h"

namespace braid::agent
{

/// BraidAgent without its bus: owns the sync set, runs its passes and schedules them. For the main thread.
class SyncAgent
{
public:
    /// Why a call was refused: an error name of the protocol, and words.
    struct Refused {
        const char* name;
        std::string reason;
    };
    /// A status and the serial of the pass that it is about.
    using StatusListener = std::function<void(std::uint64_t serial, const roamer::Dictionary& status)>;

    /// Everything is borrowed. Goes on with the set that the store holds.
    SyncAgent(platform::RunLoop& runLoop, SyncSetStore& store, PassEngine& engine, HomeWatcher& watcher);

    /// Told of each change of state, otherwise at most ten times a second, and every few seconds while a pass is quiet.
    void setStatusListener(StatusListener listener) { mListener = std::move(listener); }

    roamer::Dictionary describeSet() const; ///< Empty: there is no set.
    [[nodiscard]] std::optional<Refused> createSet(const roamer::Dictionary& properties);
    /// A running pass keeps what it was started with.
    [[nodiscard]] std::optional<Refused> configureSet(const roamer::Dictionary& changes);
    /// Also ends a pass that runs on it.
    [[nodiscard]] std::optional<Refused> forgetSet();
    /// The serial of the pass.
    std::variant<std::uint64_t, Refused> startSync();
    void abortSync();
    roamer::Dictionary info();
    int lastSyncResult() const { return mLastResult; }

    /// Ends a running pass, starts no other, and calls `ended` when none runs (at once when none does).
    void end(std::function<void()> ended);

private:
    enum class Cause { Request, Background };

    std::optional<Refused> adopt(SyncSet set);
    void applySchedule();
    void applyWatch();
    void runInBackground();
    std::uint64_t startPass(const SyncSet& set, Cause cause);
    void passProgressed(const Progress& progress);
    void passEnded(const PassReport& report);
    void countOpenMatters();
    void send();
    bool passRuns() const { return mProgress.state != PassState::Idle; }

    platform::RunLoop& mRunLoop;
    SyncSetStore& mStore;
    PassEngine& mEngine;
    HomeWatcher& mWatcher;
    StatusListener mListener;
    std::optional<SyncSet> mSet;
    std::optional<PeerSets> mWatchedFor; ///< Null: nothing is watched.
    Progress mProgress;
    std::uint64_t mSerial = 0; ///< Of the latest pass.
    int mLastResult = kPassSucceeded;
    std::string mLastReason;
    std::function<void()> mEnded; ///< Not empty: the process is about to end.
    PassState mSentState = PassState::Idle;
    std::optional<platform::RunLoop::Clock::time_point> mSentTime;
    platform::RunLoop::Clock::time_point mPassStart;
    platform::Timer mHeartbeat;
    platform::Timer mRefusal;
    BackgroundSchedule mSchedule;
};

} // namespace braid::agent
