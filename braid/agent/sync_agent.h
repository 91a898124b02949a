#pragma once

#include <cstdint>
#include <deque>
#include <functional>
#include <optional>
#include <set>
#include <string>
#include <variant>
#include <vector>

#include "background_schedule.h"
#include "matters.h"
#include "pass_engine.h"
#include "pass_plan.h"
#include "person_task.h"
#include "platform/run_loop.h"
#include "status.h"
#include "sync_set.h"
#include "sync_set_store.h"

namespace braid::agent
{

/// BraidAgent without its bus: owns the sync set, runs its passes, schedules them and carries out what a person
/// decides. For the main thread.
class SyncAgent
{
public:
    /// Why a call was refused: an error name of the protocol, and words.
    struct Refused {
        const char* name;
        std::string reason;
    };
    using Done = std::function<void(const std::optional<Refused>&)>;
    using Answer = std::function<void(const std::variant<roamer::Dictionary, Refused>&)>;
    /// A status and the serial of the pass that it is about.
    using StatusListener = std::function<void(std::uint64_t serial, const roamer::Dictionary& status)>;

    /// Everything is borrowed.
    struct Uses {
        platform::RunLoop& runLoop;
        SyncSetStore& store;
        SetAside& setAside;
        PassEngine& engine;
        HomeWatcher& watcher;
        ConflictsApp& conflictsApp;
    };

    /// Goes on with the set that the store holds. `schedules`: syncs by itself too, as the session's engine does.
    SyncAgent(const Uses& uses, bool schedules);

    /// Told of each change of state, otherwise at most ten times a second, and every few seconds while a pass is quiet.
    void setStatusListener(StatusListener listener) { mListener = std::move(listener); }

    roamer::Dictionary describeSet() const; ///< Empty: there is no set.
    [[nodiscard]] std::optional<Refused> createSet(const roamer::Dictionary& properties);
    /// A running pass keeps what it was started with.
    [[nodiscard]] std::optional<Refused> configureSet(const roamer::Dictionary& changes);
    /// Ends a pass that runs on it, forgets what is recorded of earlier ones, and is done when the set is gone.
    void forgetSet(const Done& done);
    /// The serial of the pass. It begins at once, or when what a person decided is carried out.
    std::variant<std::uint64_t, Refused> startSync();
    void abortSync();
    roamer::Dictionary info();
    int lastSyncResult() const { return mLastResult; }

    /// What needs a person, and where the homes are.
    roamer::Dictionary matters();
    /// Carries out a person's decision once no pass runs.
    void serve(PersonTask task, Answer answer);
    [[nodiscard]] std::optional<Refused> setAside(const std::set<Matter>& matters, bool aside);
    void displayConflictsAndErrors() { mUses.conflictsApp.show(true); }

    /// Ends a running pass, starts no other, and calls `ended` when none runs (at once when none does).
    void end(std::function<void()> ended);

private:
    enum class Cause { Request, Background, Person };
    enum class Pending { None, Wanted, Aborted }; ///< A pass that waits for the person's task that runs.
    struct Waiting {
        PersonTask task;
        Answer answer;
    };
    using Request = std::variant<PassRequest, Refusal>;

    std::optional<Refused> adopt(SyncSet set);
    void applySchedule();
    void applyWatch();
    void homeChanged(const HomeChanges& changes);
    void lookAtChanges();
    void runInBackground();
    void startPass(Request wanted, Cause cause);
    void passProgressed(const Progress& progress);
    void passMet(const OpenMatters& fresh);
    void passEnded(const PassResult& result);
    void personTaskEnded(const PassResult& result);
    void startPending();
    void appChanged();
    void becomeIdle();
    void serveNext();
    void forgetNow();
    void answerForgets(const std::optional<Refused>& refused);
    void recount();
    Status status() const;
    void send();
    bool passRuns() const { return mProgress.state != PassState::Idle; }

    Uses mUses;
    bool mSchedules;
    StatusListener mListener;
    std::optional<SyncSet> mSet;
    std::optional<PeerSets> mWatchedFor; ///< Null: nothing is watched.
    std::set<std::string> mChanges;      ///< Seen in the home, not yet looked at.
    platform::Timer mLook;
    Matters mMatters;

    Cause mCause = Cause::Request; ///< Of the running pass, as the next three.
    std::vector<Job> mJobs;
    Answer mAnswer;
    bool mHasAsked = false; ///< For the window, or shall not before its end.
    Progress mProgress;
    Pending mPending = Pending::None;
    std::deque<Waiting> mWaiting;
    std::vector<Done> mForgets;
    platform::Timer mForgetDeadline;

    std::uint64_t mSerial = 0; ///< Of the latest pass.
    int mLastResult = kPassSucceeded;
    std::string mLastReason;
    bool mLastSucceeded = true;
    bool mSaidNowhere = false;
    std::function<void()> mEnded; ///< Not empty: the process is about to end.
    PassState mSentState = PassState::Idle;
    std::optional<platform::RunLoop::Clock::time_point> mSentTime;
    platform::RunLoop::Clock::time_point mPassStart;
    platform::Timer mHeartbeat;
    platform::Timer mRefusal;
    platform::Timer mWindowWait; ///< Set: the pass is over, and idle once its window is up.
    platform::Timer mRecount;
    BackgroundSchedule mSchedule;
};

} // namespace braid::agent
