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

    /// A time that had already come when the engine started waits this long, because what started it is about to
    /// configure it.
    static constexpr double kGraceSeconds = 5;
    static constexpr double kQuietSeconds = 5;        ///< Without a change, before a change is synced …
    static constexpr double kLongestHoldSeconds = 60; ///< … but a home that never rests is synced after this long,
    static constexpr double kShortestGapSeconds = 30; ///< and never sooner than this after the last pass.

    /// `due` is called from the run loop when a pass should start. It may be refused silently.
    BackgroundSchedule(platform::RunLoop& runLoop, std::function<void()> due);

    void configure(const Settings& settings);

    /// When the next pass by the clock comes; null while off. Moves on when one falls due.
    std::optional<Date> nextTime() const { return mNextTime; }

    void passStarted();
    void passEnded(bool succeeded);
    /// Something in the local home has changed.
    void homeChanged();

private:
    void plan();
    void clockTick();
    void quietCheck();
    void moveOn(Date& time) const;
    platform::RunLoop::Duration untilQuiet(platform::RunLoop::Clock::time_point firstChange,
                                           platform::RunLoop::Clock::time_point lastChange) const;

    platform::RunLoop& mRunLoop;
    std::function<void()> mDue;
    platform::RunLoop::Clock::time_point mStarted;
    Settings mSettings;
    std::optional<Date> mNextTime;
    bool mPassRuns = false;
    bool mLastPassFailed = false;
    std::optional<platform::RunLoop::Clock::time_point> mLastPassEnd;
    std::optional<platform::RunLoop::Clock::time_point> mFirstChange; ///< Of those that no pass has seen yet.
    std::optional<platform::RunLoop::Clock::time_point> mLastChange;
    platform::Timer mClockTimer;
    platform::Timer mQuietTimer;
};

} // namespace braid::agent
