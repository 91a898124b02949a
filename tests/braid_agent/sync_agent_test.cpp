#include "braid/agent/sync_agent.h"

#include <gtest/gtest.h>

#include <algorithm>

#include "braid/protocol.h"
#include "platform/linux/property_list_codec.h"
#include "platform/sync_engine.h"
#include "tests/braid_agent/hand_engine.h"
#include "tests/fakes/fake_run_loop.h"
#include "tests/fakes/recording_log.h"
#include "tests/fakes/temp_root.h"

namespace
{

using namespace braid::agent;
namespace protocol = braid::protocol;
using braid::PassState;
using braid::Progress;
using roamer::Array;
using roamer::Dictionary;
using roamer::PropertyList;

struct HandWatcher final : HomeWatcher {
    void watch(std::vector<braid::Job>, std::function<void(const HomeChanges&)> changed) override
    {
        tell = std::move(changed);
    }
    void stop() override { tell = nullptr; }
    std::function<void(const HomeChanges&)> tell;
};

struct HandApp final : ConflictsApp {
    State state() const override { return now; }
    void show(bool) override
    {
        ++shows;
        now = State::Starting;
    }
    void end() override { become(State::Absent); }
    void setStateListener(std::function<void()> listener) override { changed = std::move(listener); }
    void become(State state)
    {
        if (std::exchange(now, state) != state) changed();
    }
    State now = State::Absent;
    int shows = 0;
    std::function<void()> changed;
};

class Agent : public testing::Test
{
protected:
    Agent()
    {
        std::filesystem::create_directories(mHome);
        restart();
    }
    /// Another engine on the same home.
    void restart(bool schedules = true)
    {
        mAgent.reset();
        mAgent =
            std::make_unique<SyncAgent>(SyncAgent::Uses{mLoop, mStore, mSetAside, mEngine, mWatcher, mApp}, schedules);
        mAgent->setStatusListener([this](std::uint64_t, const Dictionary& status) { mSent.push_back(status); });
    }
    /// A set of one job.
    void createConfigured()
    {
        const Array paths{Array{"Documents"}}, rules{Array{}};
        const Array options{Dictionary{{platform::kSyncOptionExclusionInclusionSetIndexKey, 0}}};
        ASSERT_FALSE(mAgent->createSet({{protocol::kName, "Roamer_Mirror"},
                                        {protocol::kRemoteHomeXMLSpec, "file:///srv"},
                                        {protocol::kRemoteHomePath, "/Volumes/homes/jo"},
                                        {protocol::kLocalInclusionSets, paths},
                                        {protocol::kLocalExclusionSets, rules},
                                        {protocol::kRemoteInclusionSets, paths},
                                        {protocol::kRemoteExclusionSets, rules},
                                        {protocol::kDefaultSyncOptions, options}}));
    }
    std::vector<std::int64_t> states() const
    {
        std::vector<std::int64_t> result;
        for (const auto& status : mSent)
            result.push_back(*status.at(platform::kSyncSetStateKey).integerReading());
        return result;
    }
    static std::string refusalOf(const std::variant<std::uint64_t, SyncAgent::Refused>& result)
    {
        return std::get<SyncAgent::Refused>(result).name;
    }
    static Progress at(PassState state)
    {
        Progress progress;
        progress.state = state;
        return progress;
    }

    fakes::TempRoot mRoot;
    fakes::RecordingLog mLog;
    fakes::FakeRunLoop mLoop;
    HandEngine mEngine;
    HandWatcher mWatcher;
    HandApp mApp;
    std::unique_ptr<platform::PropertyListCodec> mCodec = platform::makePropertyListCodec();
    const std::filesystem::path mHome = mRoot.real("/home");
    SyncSetStore mStore{*mCodec, mHome};
    SetAside mSetAside{*mCodec, mHome};
    std::vector<Dictionary> mSent;
    std::unique_ptr<SyncAgent> mAgent;
};

using States = std::vector<std::int64_t>;

TEST_F(Agent, AChangeThatCannotBeSavedIsNoneAndASetMustBeThereForAPass)
{
    EXPECT_EQ(refusalOf(mAgent->startSync()), protocol::kNoSyncSet);
    createConfigured();
    const auto before = mAgent->describeSet();
    std::filesystem::create_directory(mHome / ".Braid/sync_set.plist.new");
    EXPECT_STREQ(mAgent->configureSet({{protocol::kMountSuffixPath, "jane"}})->name, protocol::kNotSaved);
    EXPECT_EQ(mAgent->describeSet(), before);
}

TEST_F(Agent, APassGoesThroughItsStatesAndEndsIdleWithItsResultReadable)
{
    createConfigured();
    EXPECT_EQ(std::get<std::uint64_t>(mAgent->startSync()), 1U);
    EXPECT_EQ(refusalOf(mAgent->startSync()), protocol::kPassIsRunning);
    mEngine.progress(at(PassState::Checking));
    auto progress = at(PassState::Processing);
    progress.percent = 40;
    progress.totalBytes = 1ULL << 40;
    progress.currentPath = "/home/jo/a";
    progress.jobStatus = {{"", ""}, {platform::kAttemptToWriteToReadOnlyPeer, "would write"}};
    mEngine.progress(progress);
    auto info = mAgent->info();
    EXPECT_EQ(info, mSent.back());
    EXPECT_EQ(info[platform::kProgressPercentCompleteKey], PropertyList(40.0));
    EXPECT_EQ(info[platform::kProgressTotalBytesKey], PropertyList(std::int64_t{1} << 40));
    EXPECT_EQ(info[platform::kProgressCurrentItemPathKey], PropertyList("/home/jo/a"));
    EXPECT_EQ(info[platform::kProgressSyncPassStatusKey],
              PropertyList(Array{Dictionary{}, Dictionary{{"name", "AttemptToWriteToReadOnlyPeerException"},
                                                          {"reason", "would write"}}}));

    mEngine.matters.conflicts = {{"a", "modify/modify"}};
    mEngine.endWith(5, "the disk failed");
    EXPECT_EQ(states(), (States{1, 3, 4, 6})) << "not idle before the window is there";
    mApp.become(ConflictsApp::State::Shown);
    EXPECT_EQ(states(), (States{1, 3, 4, 6, 0}));
    EXPECT_EQ(mSent.back().at(platform::kSyncSetUIAppRunningKey), PropertyList(true));
    EXPECT_EQ(mAgent->lastSyncResult(), 5);
    EXPECT_EQ(mSent.back().at(platform::kSyncSetUnresolvedConflictsCountKey), PropertyList(1));
    EXPECT_EQ(std::get<std::uint64_t>(mAgent->startSync()), 2U);
    mSent.clear();
    mAgent->abortSync();
    mEngine.endWith(braid::kPassAborted, "stopped");
    EXPECT_EQ(states(), (States{7, 0}));
    EXPECT_EQ(mAgent->lastSyncResult(), -999);
}

TEST_F(Agent, StatusComesAtMostTenTimesASecondAndIsRepeatedWhenNothingHappens)
{
    createConfigured();
    mAgent->startSync();
    for (int i = 0; i < 1000; ++i)
        mLoop.at(0.002 * i, [this] { mEngine.progress(at(PassState::Processing)); });
    mLoop.runForSeconds(2);
    EXPECT_LE(mSent.size(), 22U);
    EXPECT_GE(mSent.size(), 18U);
    mSent.clear();
    mLoop.runForSeconds(60);
    EXPECT_EQ(mSent.size(), 12U);
    mEngine.endWith(0);
    mSent.clear();
    mLoop.runForSeconds(60);
    EXPECT_TRUE(mSent.empty());
}

TEST_F(Agent, ARefusedPassEndsOnlyAfterTheCallerHasItsSerial)
{
    createConfigured();
    ASSERT_FALSE(mAgent->configureSet({{protocol::kLocalInclusionSets, Array{}}}));
    EXPECT_EQ(std::get<std::uint64_t>(mAgent->startSync()), 1U);
    EXPECT_EQ(states(), States{1});
    mLoop.runForSeconds(0.1);
    EXPECT_EQ(states(), (States{1, 6, 0}));
    EXPECT_EQ(mAgent->lastSyncResult(), braid::kPassRefused);
    EXPECT_TRUE(mEngine.requests.empty());
}

TEST_F(Agent, BackgroundPassesEndWithTheEngineAndGoOnInTheNextOne)
{
    createConfigured();
    const double now = std::chrono::duration<double>(mLoop.date().time_since_epoch()).count();
    ASSERT_FALSE(mAgent->configureSet({{protocol::kAutomaticSyncInterval, 100},
                                       {protocol::kNextSyncTime, now + 50},
                                       {protocol::kAutoSyncOnFileSystemModification, true},
                                       {protocol::kIsAutomaticallySyncing, true}}));
    mLoop.runForSeconds(61);
    bool ended = false;
    mAgent->end([&] { ended = true; });
    EXPECT_EQ(mEngine.stops, 1);
    EXPECT_FALSE(ended);
    EXPECT_EQ(refusalOf(mAgent->startSync()), protocol::kEnding);
    mEngine.endWith(braid::kPassAborted);
    EXPECT_TRUE(ended);
    mLoop.runForSeconds(1000);
    EXPECT_EQ(mEngine.requests.size(), 1U);

    restart(false);
    mLoop.runForSeconds(1000);
    EXPECT_EQ(mEngine.requests.size(), 1U) << "a login's engine starts none";
    EXPECT_FALSE(mWatcher.tell);

    ASSERT_FALSE(mAgent->configureSet({{protocol::kNextSyncTime, now + 90'000.0}}));
    restart();
    mWatcher.tell({{"Documents/new"}, false});
    mLoop.runForSeconds(70);
    EXPECT_EQ(mEngine.requests.size(), 2U);
    mEngine.agreed = {"Documents/copied"};
    mWatcher.tell({{"Documents/copied"}, false});
    mEngine.endWith(0);
    mWatcher.tell({{"Documents/copied"}, false});
    mLoop.runForSeconds(45);
    EXPECT_EQ(mEngine.requests.size(), 2U) << "what the pass did itself leads to no other";
    mWatcher.tell({{"Documents/copied", "Documents/edited"}, false});
    mLoop.runForSeconds(6);
    EXPECT_EQ(mEngine.requests.size(), 3U);
    ASSERT_FALSE(mAgent->configureSet({{protocol::kIsAutomaticallySyncing, false}}));
    EXPECT_FALSE(mWatcher.tell);
}

TEST_F(Agent, WithoutAPlaceThereIsNoBackgroundPassAndThatIsSaidOnce)
{
    createConfigured();
    ASSERT_FALSE(mAgent->configureSet({{protocol::kRemoteHomePath, ""},
                                       {protocol::kRemoteHomeXMLSpec, ""},
                                       {protocol::kAutomaticSyncInterval, 100},
                                       {protocol::kIsAutomaticallySyncing, true}}));
    mLoop.runForSeconds(1000);
    EXPECT_TRUE(mEngine.requests.empty());
    EXPECT_EQ(mLog.countContaining("nothing says where the network home is"), 1);
}

TEST_F(Agent, WhatAPersonDecidesRunsBetweenThePassesAndTheCountsFall)
{
    createConfigured();
    mEngine.matters.conflicts = {{"Documents/a", "modify/modify"}, {"b", "modify/modify"}};
    mAgent->startSync();
    std::vector<std::variant<Dictionary, SyncAgent::Refused>> answers;
    const auto note = [&](const auto& answer) { answers.push_back(answer); };
    mAgent->serve({PersonTask::Verb::KeepNetwork, {"Documents/a", "b"}}, note);
    EXPECT_EQ(mEngine.requests.size(), 1U) << "not while a pass runs";
    mEngine.endWith(0);
    mApp.become(ConflictsApp::State::Shown);

    ASSERT_EQ(mEngine.requests.size(), 2U);
    const auto decisions = mEngine.requests.back().decisions;
    ASSERT_EQ(decisions.size(), 2U) << "each with the rules of its own job";
    EXPECT_EQ(decisions.front().paths, std::vector<std::string>{"Documents/a"});
    EXPECT_EQ(decisions.front().keep, braid::Keep::Network);
    EXPECT_EQ(mAgent->info().at(platform::kSyncSetUnresolvedConflictsCountKey), PropertyList(2));
    // The next pass of a waiting login comes at this very moment.
    EXPECT_TRUE(std::holds_alternative<std::uint64_t>(mAgent->startSync()));
    mEngine.matters.conflicts.clear();
    mSent.clear();
    mEngine.endWith(0);
    ASSERT_EQ(answers.size(), 1U);
    EXPECT_EQ(std::get<Dictionary>(answers[0]).at(protocol::kResult), PropertyList(0));
    EXPECT_TRUE(mEngine.requests.back().decisions.empty());
    EXPECT_EQ(states(), States{1}) << "the login's pass, with no idle in between";
    mEngine.endWith(0);
    EXPECT_EQ(mSent.back().at(platform::kSyncSetUnresolvedConflictsCountKey), PropertyList(0));
    EXPECT_EQ(mApp.shows, 1);
}

TEST_F(Agent, WhatIsSetAsideIsNeitherCountedNorShownUntilItChanges)
{
    createConfigured();
    const auto pass = [&] {
        mAgent->startSync();
        mEngine.endWith(0);
        mApp.become(ConflictsApp::State::Shown);
        mApp.become(ConflictsApp::State::Absent);
        return std::pair(mApp.shows, mAgent->info().at(platform::kSyncSetUnresolvedConflictsCountKey));
    };
    mEngine.matters.conflicts = {{"Documents/a", "modify/modify", {braid::Kind::File, 5, 1}, {}}};
    mEngine.matters.errors = {{"Documents/a", "no room"}};
    EXPECT_EQ(pass(), std::pair(1, PropertyList(1)));
    EXPECT_FALSE(mAgent->setAside({{"Documents/a", false}, {"Documents/a", true}}, true));
    restart();
    EXPECT_EQ(pass(), std::pair(1, PropertyList(0)));
    EXPECT_EQ(mAgent->info().at(platform::kSyncSetUnresolvedErrorsCountKey), PropertyList(0));
    mEngine.matters.conflicts.front().local.mtime = 2;
    EXPECT_EQ(pass(), std::pair(2, PropertyList(1)));

    // A job that suppresses dialogs counts, and shows nothing.
    const Array options{Dictionary{{platform::kSyncOptionExclusionInclusionSetIndexKey, 0},
                                   {platform::kSyncOptionSuppressConflictDialogsKey, 1}}};
    ASSERT_FALSE(mAgent->configureSet({{protocol::kDefaultSyncOptions, options}}));
    mEngine.matters.errors.clear();
    EXPECT_EQ(pass(), std::pair(2, PropertyList(1)));
}

TEST_F(Agent, TheWindowComesDuringThePassThatMetSomethingForIt)
{
    createConfigured();
    mAgent->startSync();
    mEngine.progress(at(PassState::Processing));
    mEngine.meet({{{"Documents/a", "modify/modify"}}, {}});
    EXPECT_EQ(mApp.shows, 1);
    mApp.become(ConflictsApp::State::Shown);
    EXPECT_EQ(mAgent->matters().at(protocol::kConflicts).as<Array>()->size(), 1U);
    EXPECT_FALSE(mAgent->setAside({{"Documents/a", false}}, true));
    mApp.become(ConflictsApp::State::Absent);
    mEngine.meet({{}, {{"Documents/b", "no room"}}});
    EXPECT_EQ(mApp.shows, 1) << "once in a pass";
    mEngine.matters = {{{"Documents/a", "modify/modify"}}, {{"Documents/b", "no room"}}};
    mEngine.endWith(0);
    EXPECT_EQ(mApp.shows, 2) << "and at its end for what has joined";
    EXPECT_EQ(states().back(), 6);
    mApp.become(ConflictsApp::State::Shown);
    EXPECT_EQ(states().back(), 0);
    EXPECT_EQ(mSent.back().at(platform::kSyncSetUnresolvedConflictsCountKey), PropertyList(0));
}

TEST_F(Agent, ForgettingAnswersWhenThePassHasEndedAndTheSetIsGone)
{
    createConfigured();
    std::vector<std::string> answers;
    const auto forget = [&] {
        mAgent->forgetSet([&](const auto& refused) { answers.emplace_back(refused ? refused->name : "gone"); });
    };
    mAgent->startSync();
    forget();
    EXPECT_EQ(mEngine.stops, 1);
    mLoop.runForSeconds(9);
    EXPECT_EQ(answers, std::vector<std::string>{protocol::kNotForgotten});
    forget();
    mEngine.whyNotForgotten = "busy";
    mEngine.endWith(braid::kPassAborted);
    EXPECT_FALSE(mAgent->describeSet().empty());
    mEngine.whyNotForgotten.reset();
    forget();
    EXPECT_EQ(answers, (std::vector<std::string>{protocol::kNotForgotten, protocol::kNotForgotten, "gone"}));
    EXPECT_EQ(mStore.load(), std::nullopt);
}

} // namespace
