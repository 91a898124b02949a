#include <cerrno>
#include <gtest/gtest.h>

#include "braid/agent/watched_pass_engine.h"
#include "tests/braid_agent/hand_engine.h"
#include "tests/fakes/fake_run_loop.h"
#include "tests/fakes/recording_log.h"

namespace
{

using namespace braid::agent;

struct WatchedPass : testing::Test {
    void start()
    {
        engine.start(
            {}, [](const braid::Progress&) {}, [](const braid::OpenMatters&) {},
            [this](const PassResult& result) { results.push_back(result.report.result); });
    }

    fakes::RecordingLog log;
    fakes::FakeRunLoop loop;
    HandEngine inner;
    std::string home = "/n";
    bool serverAnswers = true;
    int questions = 0;
    WatchedPassEngine engine{inner, loop, [this] { return home; },
                             [this](const std::string&, std::function<void()> answered) {
                                 ++questions;
                                 if (serverAnswers) answered();
                                 lateAnswer = std::move(answered);
                             }};
    std::function<void()> lateAnswer;
    std::vector<int> results;
};

TEST_F(WatchedPass, MayTakeItsTimeWhileItsServerAnswers)
{
    start();
    for (int i = 0; i < 20; ++i) {
        loop.runForSeconds(4);
        braid::Progress further;
        further.completedBytes = 100U + static_cast<unsigned>(i);
        inner.progress(further);
    }
    EXPECT_EQ(questions, 0) << "nobody asks about a pass that goes on";
    loop.runForSeconds(3600);
    EXPECT_GT(questions, 100);
    serverAnswers = false;
    loop.runForSeconds(4);
    lateAnswer(); // takes its time
    serverAnswers = true;
    loop.runForSeconds(60);
    home.clear();
    serverAnswers = false; // nor is a server that is not known yet
    loop.runForSeconds(60);
    inner.end({});
    EXPECT_EQ(results, std::vector{0});
    EXPECT_FALSE(engine.isStuck());
}

TEST_F(WatchedPass, EndsAsStoppedWhenItIsStoppedWhileItsServerIsSilent)
{
    serverAnswers = false;
    start();
    loop.runForSeconds(1);
    engine.stop();
    loop.runForSeconds(2.1);
    EXPECT_EQ(results, std::vector{braid::kPassAborted});
    EXPECT_TRUE(engine.isStuck());
}

TEST_F(WatchedPass, StoppedWhileItsShareIsMountedHasEndedAndTheNextOneWaitsForTheMount)
{
    home.clear();
    start();
    engine.stop();
    loop.runForSeconds(0.1);
    EXPECT_EQ(results, std::vector{braid::kPassAborted});
    start();
    loop.runForSeconds(10);
    EXPECT_EQ(inner.requests.size(), 1U);
    EXPECT_FALSE(engine.forget());
    inner.end({});
    EXPECT_EQ(inner.requests.size(), 2U);
    inner.end({});
    EXPECT_EQ(results, (std::vector{braid::kPassAborted, 0}));
    EXPECT_FALSE(engine.isStuck());
}

TEST_F(WatchedPass, IsGivenUpWithASilentServerAndComesBackWithIt)
{
    serverAnswers = false;
    start();
    auto standing = loop.every(platform::seconds(0.1), [this] { inner.progress({}); });
    loop.runForSeconds(11);
    standing.invalidate();
    EXPECT_EQ(results, std::vector{ETIMEDOUT});
    EXPECT_TRUE(engine.isStuck());
    EXPECT_EQ(inner.stops, 1);
    EXPECT_TRUE(engine.forget());
    inner.progress({});
    start();
    EXPECT_EQ(results.size(), 1U) << "never inside the call";
    loop.runForSeconds(1);
    EXPECT_EQ(results, (std::vector{ETIMEDOUT, ETIMEDOUT}));
    EXPECT_EQ(inner.requests.size(), 1U);

    inner.end({}); // the server is back
    EXPECT_FALSE(engine.isStuck());
    EXPECT_EQ(results.size(), 2U);
    EXPECT_FALSE(engine.forget());
    start();
    inner.end({});
    EXPECT_EQ(results.back(), 0);
    loop.runForSeconds(100);
    EXPECT_EQ(results.size(), 3U);
}

} // namespace
