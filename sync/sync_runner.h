#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>

#include "platform/run_loop.h"
#include "platform/sync_engine.h"
#include "sync_callback_data.h"
#include "ui/progress_texts.h"
#include "ui/shared_state.h"
#include "util/vex_power_manager.h"
#include "values/property_list.h"

namespace roamer
{

/// Statuses of doSync beside 0 and the engine's own results.
inline constexpr long kSyncAgentNotRunning = -2;
inline constexpr long kSyncWroteReadOnlyPeer = -3;

/// Runs a pass on the engine's set and waits for it, keeping the progress window alive and telling it how far the
/// engine is; and the waits that flows put around a pass.
///
/// Every wait runs the main run loop in short slices, so commands, and with them passes and waits of other flows, can
/// run inside it. A wait whose pass record was taken over by such a pass ends.
///
/// Main thread only. The progress window is the one in SharedState, looked at anew after every slice; without a
/// controller there passes run unseen.
class SyncRunner
{
public:
    using Set = std::shared_ptr<platform::PhdSyncSet>;

    struct Outcome {
        bool wasCancelled = false;  ///< The person cancelled this pass, or the process is to end.
        bool allCancelled = false;  ///< The cancel is for the remaining passes too.
        bool syncCompleted = false; ///< The pass finished and was shown as complete.
        bool conflicts = false;     ///< Unresolved conflicts were reported during the pass.
    };

    /// Borrows everything; must outlive every status callback, so it is there as long as the process serves.
    SyncRunner(SharedState& state, ProgressTexts& texts, platform::SyncManager& manager, platform::RunLoop& runLoop,
               VEXPowerManager& power);
    SyncRunner(const SyncRunner&) = delete;
    SyncRunner& operator=(const SyncRunner&) = delete;

    /// Waits for the end of the pass that was started on `set`, shows the outcome, and tells it in `outcome` (may be
    /// null). `stopCancels`: the window's stop ends the whole sync and is worded so, else it skips this pass. Part and
    /// parts count the passes of one sync from 1.
    ///
    /// Returns 0 when the pass ended well or the person ended it, kSyncAgentNotRunning, kSyncWroteReadOnlyPeer, else
    /// the engine's result; 0 with nothing set in `outcome` when another flow's pass took over. Raises
    /// platform::Failure when the text of a part's outcome is missing; the pass is then already cleaned up after.
    long doSync(Set set, std::int32_t syncType, std::uint32_t syncPart, std::uint32_t syncParts, bool allowStop,
                bool stopCancels, bool disableSleep, Outcome* outcome);

    /// Waits at least `minWait` seconds, then until the set is idle or has been silent for `maxWait` seconds; a set
    /// that keeps talking is waited for without limit. Without a set it is a pause of `minWait` seconds. Ends early
    /// when the engine is gone, the window's session was stopped or the process is to end.
    void waitTillSyncIdle(Set set, double minWait, double maxWait);

    /// Waits while the engine's own application lets the person settle conflicts and (unless `conflictsOnly`) errors.
    /// True when that is over or cannot be waited for; false when the counts stood still for more than `maxWait`
    /// seconds (0 or less: no limit), and when the process is to end.
    bool waitTillConflictsResolved(bool conflictsOnly, Set set, double maxWait);

private:
    struct Pass;
    class BorrowedCallback;
    struct Standstill;

    // A pass.
    void beginPass(Pass& pass);
    void waitForPass(Pass& pass);
    void checkAgent(Pass& pass);
    void endPass(Pass& pass);
    void showOutcome(Pass& pass);
    void abandon(Pass& pass);
    void showClosed(Pass& pass);
    bool wroteReadOnlyPeer(const Pass& pass) const;
    void showComplete(Pass& pass);
    void showCancelled(Pass& pass);
    void readResult(Pass& pass);
    bool isCurrent(const Pass& pass) const;
    std::optional<std::string> cancelTitle(const Pass& pass);
    std::optional<std::string> cancelMessage(const Pass& pass);
    std::string partMessage(const char* key, const Pass& pass);
    void updateWindow(double value, const std::string* title, const std::string* message,
                      std::optional<bool> relaxKeepInFront);

    // What arrives meanwhile.
    void statusCallBack(const Dictionary& status);
    void showStatus(const Dictionary& status);
    void checkBraidTimer();
    void waitForSyncCallBack(const Dictionary& status);

    // The waits.
    bool idleWaitIsOver(const Set& set, BorrowedCallback& callback, SyncCallbackData::Time start, double maxWait);
    bool conflictsKeepWaiting(bool conflictsOnly, const Set& set, const BorrowedCallback& callback);
    bool standsStill(bool conflictsOnly, Standstill& standstill, double maxWait);
    void logConflictState(bool conflictsOnly) const;
    bool stepWindow();
    double secondsSince(SyncCallbackData::Time time) const;

    SharedState& mState;
    ProgressTexts& mTexts;
    platform::SyncManager& mManager;
    platform::RunLoop& mRunLoop;
    VEXPowerManager& mPower;
    SyncCallbackData mSyncData;
    platform::Timer mBraidTimer;
};

} // namespace roamer
