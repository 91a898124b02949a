#include "braid/agent/background_schedule.h"

#include <gtest/gtest.h>

#include "tests/fakes/fake_run_loop.h"

namespace
{

using braid::agent::BackgroundSchedule;
using Times = std::vector<double>;

/// Runs the passes that the schedule asks for and notes when, in seconds since the start.
class Schedule : public testing::Test
{
protected:
    void on(double next, double interval, bool onModification = false)
    {
        const auto span = std::chrono::milliseconds(static_cast<long>(next * 1000));
        mSchedule.configure({true, interval, onModification, fakes::FakeRunLoop::kStart + span});
    }
    void changeAt(std::initializer_list<double> seconds)
    {
        for (const double second : seconds)
            mLoop.at(second, [this] { mSchedule.homeChanged(); });
    }
    void due()
    {
        mPasses.push_back(mLoop.elapsedSeconds());
        mSchedule.passStarted();
        mLoop.at(mPassSeconds, [this] { mSchedule.passEnded(mSucceeds); });
    }
    Times passesUntil(double second)
    {
        mLoop.runForSeconds(second - mLoop.elapsedSeconds());
        return std::exchange(mPasses, {});
    }

    fakes::FakeRunLoop mLoop;
    BackgroundSchedule mSchedule{mLoop, [this] { due(); }};
    Times mPasses;
    double mPassSeconds = 0.5;
    bool mSucceeds = true;
};

TEST_F(Schedule, RunsAtTheTimeAndThenEveryIntervalWhileOn)
{
    on(75, 100);
    EXPECT_EQ(passesUntil(74.9), Times{});
    EXPECT_EQ(passesUntil(180), (Times{75, 175}));
    on(75, 100);
    EXPECT_EQ(passesUntil(300), Times{275}) << "an older configuration of the same time does not pull it back";
    mSchedule.configure({});
    EXPECT_EQ(passesUntil(500), Times{});
    mSchedule.configure({true, 60, false, std::nullopt});
    EXPECT_EQ(passesUntil(600), Times{560}) << "without a time the first pass is one interval away";
}

TEST_F(Schedule, MissedTimesAreMadeUpForOnceAfterAGrace)
{
    on(-1250, 100, true);
    changeAt({2});
    EXPECT_EQ(passesUntil(70), Times{BackgroundSchedule::kGraceSeconds}) << "nor does a change come sooner";
    mPassSeconds = 130;
    EXPECT_EQ(passesUntil(400), (Times{150, 350})) << "a pass that outlasts the interval is not followed at once";
}

TEST_F(Schedule, AChangeIsSyncedOnceTheHomeIsQuiet)
{
    on(1000, 1000, true);
    changeAt({70, 73, 77});
    EXPECT_EQ(passesUntil(90), Times{77 + BackgroundSchedule::kQuietSeconds});
    mSchedule.homeChanged();
    on(1000, 1000, false);
    mSchedule.homeChanged();
    EXPECT_EQ(passesUntil(990), Times{}) << "neither a waiting change nor a new one counts without the watch";
}

TEST_F(Schedule, AHomeThatNeverRestsIsSyncedAllTheSameButNotAllTheTime)
{
    on(5000, 5000, true);
    for (int second = 0; second < 600; ++second)
        changeAt({static_cast<double>(second)});
    const auto passes = passesUntil(600).size();
    EXPECT_GE(passes, 8U);
    EXPECT_LE(passes, 600 / BackgroundSchedule::kLongestHoldSeconds + 1);
}

TEST_F(Schedule, ChangesDuringAPassLeadToOneMoreAndAfterAFailureOnlyTheClockTriesAgain)
{
    mPassSeconds = 10;
    on(80, 1000, true);
    changeAt({85});
    EXPECT_EQ(passesUntil(500), (Times{80, 90 + BackgroundSchedule::kShortestGapSeconds}));
    mSucceeds = false;
    on(600, 300, true);
    changeAt({120, 200});
    EXPECT_EQ(passesUntil(899), Times{600});
    mSucceeds = true;
    changeAt({100});
    EXPECT_EQ(passesUntil(1010), (Times{900, 1004}));
}

TEST_F(Schedule, EachFurtherFailureDoublesTheWaitUpToAnHour)
{
    mSucceeds = false;
    on(100, 1000);
    EXPECT_EQ(passesUntil(11'500), (Times{100, 1100, 3100.5, 6701, 10301.5}));
    mSucceeds = true;
    EXPECT_EQ(passesUntil(15'500), (Times{13902, 14902}));
}

} // namespace
