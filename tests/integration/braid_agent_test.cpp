// The real BraidAgent and its real client: a bus, a system root and two homes of their own.

#include <algorithm>
#include <csignal>
#include <regex>

#include <unistd.h>

#include "platform/failure.h"
#include "platform/linux/application.h"
#include "platform/linux/process_start.h"
#include "platform/linux/run_loop.h"
#include "tests/fakes/command_line.h"
#include "tests/fakes/engine_rig.h"

namespace
{

namespace fs = std::filesystem;

namespace protocol = braid::protocol;
using fakes::TempRoot;
using platform::PhdSyncSet;
using roamer::Dictionary;

class BraidAgent : public fakes::EngineRig
{
protected:
    ~BraidAgent() override
    {
        if (enginePid() != 0) endEngine(SIGKILL);
    }

    /// The engine's process id as the bus knows it; 0 when none runs.
    static int enginePid()
    {
        const auto answer = fakes::runCommand("dbus-send --session --print-reply=literal --dest=org.freedesktop.DBus / "
                                              "org.freedesktop.DBus.GetConnectionUnixProcessID string:" +
                                              std::string(protocol::kBusName))
                                .output;
        std::smatch found;
        return std::regex_search(answer, found, std::regex("uint32 (\\d+)")) ? std::stoi(found[1]) : 0;
    }
    void endEngine(int signal)
    {
        ::kill(enginePid(), signal);
        EXPECT_TRUE(waitFor([] { return enginePid() == 0; }));
    }
    bool waitFor(const std::function<bool()>& condition)
    {
        const auto end = mLoop->now() + platform::seconds(30);
        while (!condition() && mLoop->now() < end)
            mLoop->runFor(platform::seconds(0.02));
        return condition();
    }

    /// A set whose states are noted from now on.
    std::shared_ptr<PhdSyncSet> createListenedSet()
    {
        auto set = createSet(*mManager);
        listen(*set);
        return set;
    }
    void listen(PhdSyncSet& set)
    {
        mStates.clear();
        set.setStatusCallback([this](const Dictionary& status) {
            mStates.push_back(*status.at(platform::kSyncSetStateKey).integerReading());
        });
    }
    bool waitForState(std::int64_t state)
    {
        return waitFor([&] { return std::ranges::count(mStates, state) > 0; });
    }
    /// Starts a pass and waits for its end; its result.
    long pass(PhdSyncSet& set)
    {
        listen(set);
        set.startSync();
        EXPECT_TRUE(waitForState(0));
        return set.lastSyncResult();
    }
    /// Starts a pass that is still under way when this comes back.
    void startLongPass(PhdSyncSet& set)
    {
        for (int i = 0; i < 1000; ++i)
            TempRoot::writeFile(mLocal / std::to_string(i % 50) / std::to_string(i), std::string(2000, 'x'));
        set.startSync();
        ASSERT_TRUE(waitForState(4));
    }
    void expectEqualHomes()
    {
        const auto command = "diff -r -x .Braid '" + mLocal.string() + "' '" + mNetwork.string() + "'";
        EXPECT_EQ(fakes::runCommand(command).output, "");
    }
    static std::string failureOf(const std::function<void()>& act)
    {
        try {
            act();
        } catch (const platform::Failure& failure) {
            return failure.name();
        }
        return "";
    }

    std::unique_ptr<platform::Application> mApplication = platform::makeApplication();
    std::unique_ptr<platform::RunLoop> mLoop = platform::makeRunLoop();
    std::unique_ptr<platform::SyncManager> mManager = platform::makeSyncManager(*mLoop);
    std::vector<std::int64_t> mStates;
};

TEST_F(BraidAgent, OnlyReadingOrCreatingTheSetStartsIt)
{
    EXPECT_FALSE(mManager->syncAgentIsRunning());
    EXPECT_EQ(enginePid(), 0);
    EXPECT_EQ(mManager->phdSyncSet(), nullptr);
    EXPECT_TRUE(mManager->syncAgentIsRunning());
    const auto set = createListenedSet();
    EXPECT_EQ(failureOf([&] { createSet(*mManager); }), "SyncSetExists");

    endEngine(SIGTERM);
    EXPECT_FALSE(mManager->syncAgentIsRunning());
    EXPECT_EQ(failureOf([&] { set->startSync(); }), "EngineUnreachable");
    EXPECT_EQ(enginePid(), 0) << "calls on a set start nothing";
}

TEST_F(BraidAgent, APassBringsTheHomesInStepAndTellsOfItsOwnOnly)
{
    TempRoot::writeFile(mLocal / "notes/plan.txt", "from here");
    TempRoot::writeFile(mNetwork / "photos/\xff\xfe.jpg", "from there");
    const auto set = createListenedSet();
    set->startSync();
    // No slice of the loop in between: the statuses of this pass wait to be delivered.
    for (int i = 0; i < 1000 && set->state() != 0; ++i)
        ::usleep(10'000);
    TempRoot::writeFile(mLocal / "scratch.tmp", "stays");
    EXPECT_EQ(pass(*mManager->phdSyncSet()), 0);
    mLoop->runFor(platform::seconds(0.3));
    EXPECT_EQ(mStates.front(), 1);
    EXPECT_EQ(std::ranges::count(mStates, 0), 1) << "the late end of the earlier pass is not taken for this one's";
    EXPECT_TRUE(set->statusCallback()) << "the callback is the set's, not the handle's";
    EXPECT_FALSE(fs::exists(mNetwork / "scratch.tmp"));
    fs::remove(mLocal / "scratch.tmp");
    expectEqualHomes();
}

TEST_F(BraidAgent, TerminatedDuringAPassItEndsCleanlyAndTheNextEngineGoesOn)
{
    auto set = createListenedSet();
    set->setAutomaticSyncInterval(5000);
    set->setIsAutomaticallySyncing(true);
    startLongPass(*set);
    endEngine(SIGTERM);
    EXPECT_TRUE(waitForState(7)) << "the pass was ended, not cut off";
    set = mManager->phdSyncSet();
    ASSERT_NE(set, nullptr);
    EXPECT_TRUE(set->isAutomaticallySyncing());
    EXPECT_EQ(pass(*set), 0);
    expectEqualHomes();
}

TEST_F(BraidAgent, ALoginsEngineHasTheHomeToItselfAndTheSessionsComesBackAfterIt)
{
    EXPECT_EQ(mManager->phdSyncSet(), nullptr);
    const int session = enginePid();
    const auto hold = mManager->holdStarts();
    const auto login = platform::DetachedProcess::start(mRoot.real(protocol::kProgram),
                                                        {protocol::kUidArgument, std::to_string(::getuid())});
    int found = 0;
    EXPECT_TRUE(waitFor([&] { return (found = enginePid()) != 0 && found != session; }));
    const auto set = createListenedSet();
    EXPECT_EQ(pass(*set), 0);
    ::kill(enginePid(), SIGTERM);
    EXPECT_TRUE(waitFor([&] { return !mManager->syncAgentIsRunning(); }));
    EXPECT_EQ(login.error(), 0);
    EXPECT_TRUE(waitFor([&] { return enginePid() == session; }));
}

TEST_F(BraidAgent, GivesUpItsNameWhateverItIsStuckIn)
{
    auto set = createListenedSet();
    const auto stalled = mRoot.real("/stalled").string();
    fs::create_directories(stalled);
    const auto server =
        fakes::runCommand("bindfs -f '" + mNetwork.string() + "' '" + stalled +
                          "' > /dev/null 2>&1 & echo $!; sleep 0.5; mountpoint -q '" + stalled + "' && kill -STOP $!");
    if (server.status != 0) GTEST_SKIP() << "bindfs cannot mount here";
    set->setRemoteHomePath(stalled);
    set->startSync();
    mLoop->runFor(platform::seconds(6.5)); // the engine asks the silent server by now
    const auto start = mLoop->now();
    ::kill(enginePid(), SIGTERM);
    EXPECT_TRUE(waitFor([this] { return !mManager->syncAgentIsRunning(); }));
    EXPECT_LT(mLoop->now() - start, platform::seconds(0.3));
    fakes::runCommand("umount -l '" + stalled + "'; kill -KILL " + server.output); // the number ends its line
}

} // namespace
