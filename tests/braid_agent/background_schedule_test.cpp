#include "braid/agent/background_schedule.h"

#include <gtest/gtest.h>

#include <vector>

#include "tests/fakes/fake_run_loop.h"

namespace
{

using braid::agent::BackgroundSchedule;

/// Runs the passes that the schedule asks for and notes when, in seconds since the start.
class Schedule : public testing::Test
{
protected:
    BackgroundSchedule::Settings on(double next, double interval = 100, bool onModification = false)
    {
        return {true, interval, onModification,
                fakes::FakeRunLoop::kStart + std::chrono::milliseconds(static_cast<long>(next * 1000))};
    }

    void due()
    {
        mPasses.push_back(mLoop.elapsedSeconds());
        mSchedule.passStarted();
        mLoop.at(mPassSeconds, [this] { mSchedule.passEnded(mSucceeds); });
    }
    void runUntil(double second) { mLoop.runForSeconds(second - mLoop.elapsedSeconds()); }
    double nextTime() const
    {
        return std::chrono::duration<double>(*mSchedule.nextTime() - fakes::FakeRunLoop::kStart).count();
    }

    fakes::FakeRunLoop mLoop;
    BackgroundSchedule mSchedule{mLoop, [this] { due(); }};
    std::vector<double> mPasses;
    double mPassSeconds = 0.5;
    bool mSucceeds = true;
};

using Times = std::vector<double>;

TEST_F(Schedule, RunsAtTheTimeAndThenEveryInterval)
{
    mSchedule.configure(on(75));
    runUntil(74.9);
    EXPECT_EQ(mPasses, Times{});
    runUntil(300);
    EXPECT_EQ(mPasses, (Times{75, 175, 275}));
    EXPECT_EQ(nextTime(), 375);
}

TEST_F(Schedule, OffRunsNothingAndOnAgainTakesTheNewTime)
{
    mSchedule.configure(on(75));
    mSchedule.configure({});
    EXPECT_EQ(mSchedule.nextTime(), std::nullopt);
    runUntil(500);
    EXPECT_EQ(mPasses, Times{});
    mSchedule.configure(on(510));
    runUntil(515);
    EXPECT_EQ(mPasses, Times{510});
}

TEST_F(Schedule, WithoutATimeTheFirstPassIsOneIntervalAway)
{
    mSchedule.configure({true, 60, false, std::nullopt});
    runUntil(100);
    EXPECT_EQ(mPasses, Times{60});
}

TEST_F(Schedule, MissedTimesAreMadeUpForOnceAfterAGrace)
{
    mSchedule.configure(on(-1234));
    runUntil(60);
    EXPECT_EQ(mPasses, Times{BackgroundSchedule::kGraceSeconds});
    EXPECT_EQ(nextTime(), 66);
}

TEST_F(Schedule, AnOlderConfigurationOfTheSameTimeDoesNotPullItBack)
{
    const auto settings = on(20);
    mSchedule.configure(settings);
    runUntil(30);
    mSchedule.configure(settings);
    runUntil(119);
    EXPECT_EQ(mPasses, Times{20});
}

TEST_F(Schedule, PassThatOutlastsTheIntervalIsNotFollowedAtOnce)
{
    mPassSeconds = 130;
    mSchedule.configure(on(100));
    runUntil(350);
    EXPECT_EQ(mPasses, (Times{100, 300}));
}

TEST_F(Schedule, AChangeIsSyncedOnceTheHomeIsQuiet)
{
    mSchedule.configure(on(1000, 1000, true));
    for (double second : {40.0, 43.0, 47.0}) {
        mLoop.at(second, [this] { mSchedule.homeChanged(); });
    }
    runUntil(900);
    EXPECT_EQ(mPasses, Times{47 + BackgroundSchedule::kQuietSeconds});
}

TEST_F(Schedule, AHomeThatNeverRestsIsSyncedAllTheSameButNotAllTheTime)
{
    mSchedule.configure(on(5000, 5000, true));
    for (int second = 0; second < 600; ++second) {
        mLoop.at(second, [this] { mSchedule.homeChanged(); });
    }
    runUntil(600);
    EXPECT_GE(mPasses.size(), 8U);
    EXPECT_LE(mPasses.size(), 600 / BackgroundSchedule::kLongestHoldSeconds + 1);
}

TEST_F(Schedule, ChangesDuringAPassLeadToOneMore)
{
    mPassSeconds = 10;
    mSchedule.configure(on(20, 1000, true));
    mLoop.at(25, [this] { mSchedule.homeChanged(); });
    runUntil(500);
    EXPECT_EQ(mPasses, (Times{20, 30 + BackgroundSchedule::kShortestGapSeconds}));
}

TEST_F(Schedule, ChangesDoNotCountWhileModificationsAreNotWatched)
{
    mSchedule.configure(on(1000, 1000, false));
    mSchedule.homeChanged();
    runUntil(900);
    EXPECT_EQ(mPasses, Times{});

    mSchedule.configure(on(1000, 1000, true));
    mSchedule.homeChanged();
    mSchedule.configure(on(1000, 1000, false));
    runUntil(990);
    EXPECT_EQ(mPasses, Times{}) << "a change that was waiting is dropped when the watch is switched off";
}

TEST_F(Schedule, AfterAFailureOnlyTheClockTriesAgain)
{
    mSucceeds = false;
    mSchedule.configure(on(100, 300, true));
    mLoop.at(110, [this] { mSchedule.homeChanged(); });
    mLoop.at(200, [this] { mSchedule.homeChanged(); });
    mLoop.at(390, [this] { mSucceeds = true; });
    mLoop.at(500, [this] { mSchedule.homeChanged(); });
    runUntil(650);
    EXPECT_EQ(mPasses, (Times{100, 400, 505}));
}

} // namespace
