#include "platform/linux/run_loop.h"

#include <gtest/gtest.h>

#include <ctime>
#include <optional>
#include <string>

#include "platform/linux/application.h"

namespace
{

using namespace std::chrono_literals;

class RunLoopTest : public testing::Test
{
protected:
    std::unique_ptr<platform::Application> application = platform::makeApplication();
    std::unique_ptr<platform::RunLoop> loop = platform::makeRunLoop();
};

TEST_F(RunLoopTest, WaitsTheWholeSpanAndSleepsMeanwhile)
{
    const auto start = loop->now();
    const auto worked = std::clock();
    loop->runFor(120ms);
    EXPECT_GE(loop->now() - start, 120ms);
    EXPECT_LT(std::clock() - worked, CLOCKS_PER_SEC * 60 / 1000) << "it spins";
}

TEST_F(RunLoopTest, AZeroSpanServesWhatIsThereAndComesBack)
{
    bool served = false;
    const auto timer = loop->after(0ms, [&] { served = true; });
    EXPECT_FALSE(served) << "never inside the call";
    const auto start = loop->now();
    while (!served && loop->now() - start < 1s)
        loop->runFor(0ms);
    EXPECT_TRUE(served);
}

TEST_F(RunLoopTest, TasksComeInOrderAndNotEarly)
{
    std::string order;
    const auto start = loop->now();
    auto due = start;
    const auto late = loop->after(30ms, [&] {
        order += 'b';
        due = loop->now();
    });
    const auto early = loop->after(10ms, [&] { order += 'a'; });
    auto dropped = loop->after(5ms, [&] { order += 'x'; });
    dropped.invalidate();
    {
        const auto gone = loop->after(5ms, [&] { order += 'y'; });
    }
    loop->runFor(60ms);
    EXPECT_EQ(order, "ab");
    EXPECT_GE(due - start, 30ms);
    loop->runFor(40ms);
    EXPECT_EQ(order, "ab") << "once is once";
}

TEST_F(RunLoopTest, ATaskMayDropItsOwnTimer)
{
    int ticks = 0;
    platform::Timer timer = loop->every(5ms, [&] {
        if (++ticks == 3) timer.invalidate();
    });
    loop->runFor(100ms);
    EXPECT_EQ(ticks, 3);
}

TEST_F(RunLoopTest, ATaskMayRunTheLoopAndOthersAreServedInside)
{
    std::string order;
    const auto other = loop->after(20ms, [&] { order += "inner "; });
    const auto waiting = loop->after(5ms, [&] {
        loop->runFor(50ms);
        order += "outer";
    });
    loop->runFor(70ms);
    EXPECT_EQ(order, "inner outer");
}

TEST_F(RunLoopTest, SlicesAreNotEndedByTheStopOfTheMainLoop)
{
    platform::RunLoop::Duration inside{};
    const auto stopper = loop->after(20ms, [&] { application->stop(); });
    const auto waiting = loop->after(5ms, [&] {
        const auto start = loop->now();
        loop->runFor(60ms);
        inside = loop->now() - start;
    });
    application->run();
    EXPECT_GE(inside, 60ms);
}

class RefusingDelegate final : public platform::ApplicationDelegate
{
public:
    bool applicationShouldTerminate() override { return false; }
    void applicationWillTerminate() override { ADD_FAILURE() << "it was refused"; }
};

class SayingDelegate final : public platform::ApplicationDelegate
{
public:
    bool applicationShouldTerminate() override { return std::fputs("should ", stderr) >= 0; }
    void applicationWillTerminate() override { std::fputs("will", stderr); }
};

TEST_F(RunLoopTest, TerminateComesBackOnlyWhenRefused)
{
    RefusingDelegate delegate;
    application->setDelegate(&delegate);
    application->terminate();
    application->stop(); // nothing runs, nothing happens
}

TEST(ApplicationDeathTest, TerminateAsksTellsAndEndsWithZero)
{
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    const auto endInside = [] {
        const auto application = platform::makeApplication();
        const auto loop = platform::makeRunLoop();
        SayingDelegate delegate;
        application->setDelegate(&delegate);
        const auto timer = loop->after(1ms, [&] { application->terminate(); });
        loop->runFor(5s);
        std::_Exit(3);
    };
    EXPECT_EXIT(endInside(), testing::ExitedWithCode(0), "should will");
}

} // namespace
