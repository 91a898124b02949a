#pragma once

#include <chrono>
#include <functional>
#include <optional>

#include "platform/run_loop.h"

namespace braid::agent
{

/// When the engine syncs by itself: at a calendar time, every interval from then on, and some quiet seconds after the
/// local home has changed. Decides only; whoever runs the passes tells it how they go.
class BackgroundSchedule
{
public:
    using Date = std::chrono::system_clock::time_point;

    struct Settings {
        bool isOn = false;
        double intervalSeconds = 1200;
        bool onModification = false;
        std::optional<Date> nextTime; ///< Null: one interval from now.
    };

    /// No pass comes sooner after the engine's start: a session that begins has better things to do, and what started
    /// the engine is about to configure it.
    static constexpr double kGraceSeconds = 60;
    static constexpr double kQuietSeconds = 5;        ///< Without a change, before a change is synced …
    static constexpr double kLongestHoldSeconds = 60; ///< … but a home that never rests is synced after this long,
    static constexpr double kShortestGapSeconds = 30; ///< and never sooner than this after the last pass.
    static constexpr double kLongestBackOffSeconds = 3600; ///< Between tries while passes keep failing, unless the
                                                           ///< interval is longer.

    /// `due` is called from the run loop when a pass should start. It may be refused silently.
    BackgroundSchedule(platform::RunLoop& runLoop, std::function<void()> due);

    void configure(const Settings& settings);

    /// When the next pass by the clock comes; null while off. Moves on when one falls due.
    std::optional<Date> nextTime() const { return mNextTime; }

    void passStarted();
    void passEnded(bool succeeded);
    /// Something in the local home has changed.
    void homeChanged();
    /// A change waits for a pass already.
    bool knowsOfChange() const { return mLastChange.has_value(); }

private:
    void plan();
    void clockTick();
    void quietCheck();
    void moveOn(Date& time) const;
    void backOff();
    double graceLeft() const;
    platform::RunLoop::Duration untilQuiet(platform::RunLoop::Clock::time_point firstChange,
                                           platform::RunLoop::Clock::time_point lastChange) const;

    platform::RunLoop& mRunLoop;
    std::function<void()> mDue;
    platform::RunLoop::Clock::time_point mStarted;
    Settings mSettings;
    std::optional<Date> mNextTime;
    bool mPassRuns = false;
    unsigned mFailures = 0; ///< Passes that failed since the last one that did not.
    std::optional<platform::RunLoop::Clock::time_point> mLastPassEnd;
    std::optional<platform::RunLoop::Clock::time_point> mFirstChange; ///< Of those that no pass has seen yet.
    std::optional<platform::RunLoop::Clock::time_point> mLastChange;
    platform::Timer mClockTimer;
    platform::Timer mQuietTimer;
};

} // namespace braid::agent
