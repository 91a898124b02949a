#include "background_schedule.h"

#include <algorithm>

namespace braid::agent
{

namespace
{

using platform::RunLoop;
using platform::seconds;

// The calendar may be set, and the loop's clock stands still while the machine sleeps: look at the calendar this often.
constexpr double kLongestTickSeconds = 30;
// Against a set that asks for passes without a pause.
constexpr double kShortestIntervalSeconds = 1;

BackgroundSchedule::Date::duration calendarSpan(double span)
{
    return std::chrono::duration_cast<BackgroundSchedule::Date::duration>(platform::Seconds(span));
}

} // namespace

BackgroundSchedule::BackgroundSchedule(RunLoop& runLoop, std::function<void()> due)
    : mRunLoop(runLoop), mDue(std::move(due)), mStarted(runLoop.now())
{
}

void BackgroundSchedule::configure(const Settings& settings)
{
    const bool sameTime = mSettings.isOn && settings.isOn && mSettings.nextTime == settings.nextTime;
    mSettings = settings;
    mSettings.intervalSeconds = std::max(settings.intervalSeconds, kShortestIntervalSeconds);
    if (!settings.isOn) {
        mNextTime.reset();
    } else if (!sameTime || !mNextTime) {
        mNextTime = settings.nextTime.value_or(mRunLoop.date() + calendarSpan(mSettings.intervalSeconds));
    }
    if (!settings.isOn || !settings.onModification) {
        mFirstChange.reset();
        mLastChange.reset();
        mQuietTimer.invalidate();
    }
    plan();
}

void BackgroundSchedule::plan()
{
    mClockTimer.invalidate();
    if (!mNextTime) return;
    const double wait = std::chrono::duration<double>(*mNextTime - mRunLoop.date()).count();
    const double grace = graceLeft();
    const double tick = std::clamp(wait, grace, std::max(grace, kLongestTickSeconds));
    mClockTimer = mRunLoop.after(seconds(tick), [this] { clockTick(); });
}

double BackgroundSchedule::graceLeft() const
{
    return std::max(0.0, kGraceSeconds - platform::Seconds(mRunLoop.now() - mStarted).count());
}

void BackgroundSchedule::clockTick()
{
    if (!mNextTime) return;
    if (mRunLoop.date() < *mNextTime) return plan();
    moveOn(*mNextTime);
    plan();
    if (mPassRuns) return;
    mDue();
}

void BackgroundSchedule::moveOn(Date& time) const
{
    const double late = std::chrono::duration<double>(mRunLoop.date() - time).count();
    // A missed time, however long ago, is made up for once: the next one is in the future and keeps the rhythm.
    const double rounds = static_cast<double>(static_cast<std::int64_t>(late / mSettings.intervalSeconds)) + 1;
    time += calendarSpan(rounds * mSettings.intervalSeconds);
}

void BackgroundSchedule::passStarted()
{
    mPassRuns = true;
    mFirstChange.reset();
    mLastChange.reset();
    mQuietTimer.invalidate();
}

void BackgroundSchedule::passEnded(bool succeeded)
{
    mPassRuns = false;
    mFailures = succeeded ? 0 : mFailures + 1;
    mLastPassEnd = mRunLoop.now();
    if (mFailures > 1) backOff();
    if (mLastChange) quietCheck();
}

/// The share is most likely out of reach: the second failure in a row doubles the wait, and so on.
void BackgroundSchedule::backOff()
{
    if (!mNextTime) return;
    constexpr unsigned kMostDoublings = 16;
    const double doubled =
        mSettings.intervalSeconds * static_cast<double>(1U << std::min(mFailures - 1, kMostDoublings));
    const double wait = std::min(doubled, std::max(mSettings.intervalSeconds, kLongestBackOffSeconds));
    mNextTime = std::max(*mNextTime, mRunLoop.date() + calendarSpan(wait));
    plan();
}

void BackgroundSchedule::homeChanged()
{
    if (!mSettings.isOn || !mSettings.onModification) return;
    mLastChange = mRunLoop.now();
    if (!mFirstChange) mFirstChange = mLastChange;
    if (!mQuietTimer) quietCheck();
}

RunLoop::Duration BackgroundSchedule::untilQuiet(RunLoop::Clock::time_point firstChange,
                                                 RunLoop::Clock::time_point lastChange) const
{
    auto time = std::min(lastChange + seconds(kQuietSeconds), firstChange + seconds(kLongestHoldSeconds));
    if (mLastPassEnd) time = std::max(time, *mLastPassEnd + seconds(kShortestGapSeconds));
    return std::max(time - mRunLoop.now(), seconds(graceLeft()));
}

void BackgroundSchedule::quietCheck()
{
    mQuietTimer.invalidate();
    // After a failure the share is most likely away: then only the clock tries again.
    if (!mFirstChange || !mLastChange || mPassRuns || mFailures > 0) return;
    const auto wait = untilQuiet(*mFirstChange, *mLastChange);
    if (wait > RunLoop::Duration::zero()) {
        mQuietTimer = mRunLoop.after(wait, [this] { quietCheck(); });
        return;
    }
    mDue();
}

} // namespace braid::agent
