#include "braid/agent/sync_agent.h"

#include <gtest/gtest.h>

#include "braid/protocol.h"
#include "platform/linux/property_list_codec.h"
#include "platform/sync_engine.h"
#include "tests/fakes/fake_run_loop.h"
#include "tests/fakes/recording_log.h"
#include "tests/fakes/temp_root.h"

namespace
{

using namespace braid::agent;
namespace protocol = braid::protocol;
using braid::PassReport;
using braid::PassState;
using braid::Progress;
using roamer::Array;
using roamer::Dictionary;
using roamer::PropertyList;

/// A pass that the test steps by hand.
class HandEngine final : public PassEngine
{
public:
    void start(PassRequest request, OnProgress onProgress, OnEnd onEnd) override
    {
        requests.push_back(std::move(request));
        progress = std::move(onProgress);
        end = std::move(onEnd);
    }
    void stop() override { ++stops; }
    braid::OpenMatters openMatters() override { return matters; }

    void endWith(int result, const std::string& reason = "")
    {
        PassReport report;
        report.result = result;
        report.reason = reason;
        end(report);
    }

    std::vector<PassRequest> requests;
    OnProgress progress;
    OnEnd end;
    int stops = 0;
    braid::OpenMatters matters;
};

struct HandWatcher final : HomeWatcher {
    void watch(std::vector<braid::Job>, std::function<void()> changed) override { tell = std::move(changed); }
    void stop() override { tell = nullptr; }
    std::function<void()> tell;
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
    void restart()
    {
        mAgent.reset();
        mAgent = std::make_unique<SyncAgent>(mLoop, mStore, mEngine, mWatcher);
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
    std::unique_ptr<platform::PropertyListCodec> mCodec = platform::makePropertyListCodec();
    const std::filesystem::path mHome = mRoot.real("/home");
    SyncSetStore mStore{*mCodec, mHome};
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
    progress.conflicts = 2;
    progress.jobStatus = {{"", ""}, {platform::kAttemptToWriteToReadOnlyPeer, "would write"}};
    mEngine.progress(progress);
    auto info = mAgent->info();
    EXPECT_EQ(info, mSent.back());
    EXPECT_EQ(info[platform::kProgressPercentCompleteKey], PropertyList(40.0));
    EXPECT_EQ(info[platform::kProgressTotalBytesKey], PropertyList(std::int64_t{1} << 40));
    EXPECT_EQ(info[platform::kProgressCurrentItemPathKey], PropertyList("/home/jo/a"));
    EXPECT_EQ(info[platform::kSyncSetUnresolvedConflictsCountKey], PropertyList(2));
    EXPECT_EQ(
        info[platform::kProgressSyncPassStatusKey],
        PropertyList(Array{Dictionary{{"name", "AttemptToWriteToReadOnlyPeerException"}, {"reason", "would write"}}}));

    mEngine.matters.conflicts = {{"a", "modify/modify"}};
    mEngine.endWith(5, "the disk failed");
    EXPECT_EQ(states(), (States{1, 3, 4, 6, 0}));
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
    mLoop.runForSeconds(51);
    bool ended = false;
    mAgent->end([&] { ended = true; });
    EXPECT_EQ(mEngine.stops, 1);
    EXPECT_FALSE(ended);
    EXPECT_EQ(refusalOf(mAgent->startSync()), protocol::kEnding);
    mEngine.endWith(braid::kPassAborted);
    EXPECT_TRUE(ended);
    mLoop.runForSeconds(1000);
    EXPECT_EQ(mEngine.requests.size(), 1U);

    restart();
    mWatcher.tell();
    mLoop.runForSeconds(60);
    EXPECT_EQ(mEngine.requests.size(), 2U);
    ASSERT_FALSE(mAgent->configureSet({{protocol::kIsAutomaticallySyncing, false}}));
    EXPECT_FALSE(mWatcher.tell);
}

} // namespace
