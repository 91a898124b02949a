#include <gtest/gtest.h>

#include <cerrno>
#include <csignal>
#include <regex>

#include <unistd.h>

#include "braid/engine.h"
#include "braid_agent_world.h"
#include "platform/failure.h"

namespace
{

using fakes::TempRoot;
using platform::Failure;
using platform::PhdSyncSet;
using roamer::ComparisonForm;
using roamer::Dictionary;
using Set = std::shared_ptr<PhdSyncSet>;

class BraidAgent : public testing::Test
{
protected:
    platform::SyncManager& manager() { return mWorld.manager(); }

    Set createSet() { return manager().createPHDSyncSet("Roamer_Mirror", mWorld.shareURL(), "jo ü"); }

    /// One job: the whole home without "*.tmp", with these options.
    static void configure(PhdSyncSet& set, Dictionary options = {})
    {
        for (auto* peer : {&set.localPeer(), &set.remotePeer()}) {
            peer->setInclusionSets({{}});
            peer->setExclusionSets({{{ComparisonForm::NameEndsWith, ".tmp"}}});
        }
        options[platform::kSyncOptionExclusionInclusionSetIndexKey] = 0;
        set.setDefaultSyncOptions({options});
    }

    /// Notes each status of the set from now on.
    void listen(PhdSyncSet& set)
    {
        mStatuses.clear();
        set.setStatusCallback([this](const Dictionary& status) { mStatuses.push_back(status); });
    }
    static std::int64_t stateOf(const Dictionary& status)
    {
        return status.at(platform::kSyncSetStateKey).integerReading().value();
    }
    bool reached(std::int64_t state) const
    {
        return std::any_of(mStatuses.begin(), mStatuses.end(),
                           [state](const Dictionary& status) { return stateOf(status) == state; });
    }
    bool waitForState(std::int64_t state, double seconds)
    {
        return mWorld.waitFor([&] { return reached(state); }, seconds);
    }

    /// Starts a pass and waits for its end; its result.
    long pass(PhdSyncSet& set, double seconds = 60)
    {
        listen(set);
        set.startSync();
        EXPECT_TRUE(waitForState(0, seconds));
        return set.lastSyncResult();
    }

    void writeManyFiles(int count)
    {
        for (int i = 0; i < count; ++i) {
            TempRoot::writeFile(mWorld.local() / std::to_string(i % 50) / std::to_string(i),
                                std::string(2000, static_cast<char>('a' + i % 26)));
        }
    }
    void expectEqualHomes() { EXPECT_TRUE(treeOf(mWorld.local()) == treeOf(mWorld.network())); }

    static std::string failureOf(const std::function<void()>& act)
    {
        try {
            act();
        } catch (const Failure& failure) {
            EXPECT_FALSE(failure.reason().empty());
            return failure.name();
        }
        return "";
    }

    BraidAgentWorld mWorld;
    std::vector<Dictionary> mStatuses;
};

TEST_F(BraidAgent, OnlyReadingOrCreatingTheSetStartsIt)
{
    EXPECT_FALSE(manager().syncAgentIsRunning());
    EXPECT_EQ(mWorld.enginePid(), 0);
    EXPECT_EQ(manager().phdSyncSet(), nullptr);
    EXPECT_TRUE(manager().syncAgentIsRunning());
    EXPECT_NE(mWorld.enginePid(), 0);

    const auto set = createSet();
    ASSERT_NE(set, nullptr);
    EXPECT_EQ(failureOf([&] { createSet(); }), "SyncSetExists");
    EXPECT_EQ(set->state(), 0);

    mWorld.endEngine(SIGTERM);
    EXPECT_FALSE(manager().syncAgentIsRunning());
    EXPECT_EQ(failureOf([&] { set->setNextSyncTime({}); }), "EngineUnreachable");
    EXPECT_EQ(failureOf([&] { set->startSync(); }), "EngineUnreachable");
    EXPECT_EQ(failureOf([&] { set->localPeer().setInclusionSets({}); }), "EngineUnreachable");
    set->abortSync();
    EXPECT_TRUE(set->info().empty());
    EXPECT_EQ(set->state(), 0);
    EXPECT_EQ(set->lastSyncResult(), 0);
    EXPECT_FALSE(set->isAutomaticallySyncing());
    EXPECT_EQ(mWorld.enginePid(), 0) << "calls on a set start nothing";
}

TEST_F(BraidAgent, RefusesToServeForOthersTwiceOrWithoutKnowingForWhom)
{
    ASSERT_EQ(manager().phdSyncSet(), nullptr);
    const auto uid = std::to_string(::getuid());
    const struct {
        std::vector<std::string> arguments;
        int status;
        const char* words;
    } cases[] = {
        {{}, 2, "usage"},
        {{"-uid"}, 2, "usage"},
        {{"-uid", "x"}, 2, "usage"},
        {{"-uid", uid + "1"}, 2, "for the user who starts it"},
        {{"-uid", uid}, 1, "served by another process"},
    };
    for (const auto& c : cases) {
        const auto run = mWorld.runEngine(c.arguments);
        EXPECT_EQ(run.status, c.status) << run.error;
        EXPECT_NE(run.error.find(c.words), std::string::npos) << run.error;
    }
}

TEST_F(BraidAgent, ExportsItsInterfaceAndNothingElse)
{
    ASSERT_EQ(manager().phdSyncSet(), nullptr);
    const auto text = mWorld.introspect();
    std::set<std::string> members;
    const std::regex member("<(method|signal|interface) name=\"([A-Za-z.]+)\"");
    for (auto found = std::sregex_iterator(text.begin(), text.end(), member); found != std::sregex_iterator();
         ++found) {
        if (found->str(2).find("freedesktop") == std::string::npos) members.insert(found->str(2));
    }
    for (const char* standard : {"Introspect", "Ping", "GetMachineId", "Get", "Set", "GetAll", "PropertiesChanged"}) {
        members.erase(standard);
    }
    EXPECT_EQ(members, (std::set<std::string>{"com.kestrel.braid.Engine", "describeSet", "createSet", "configureSet",
                                              "forgetSet", "startSync", "abortSync", "info", "lastSyncResult",
                                              "statusChanged"}));
}

TEST_F(BraidAgent, APassBringsTheHomesInStepAndTellsOfIt)
{
    TempRoot::writeFile(mWorld.local() / "notes/plan.txt", "from here");
    TempRoot::writeFile(mWorld.local() / "scratch.tmp", "stays");
    TempRoot::writeFile(mWorld.network() / "photos/\xff\xfe.jpg", "from there");
    const auto set = createSet();
    configure(*set);
    EXPECT_EQ(pass(*manager().phdSyncSet()), 0);
    EXPECT_EQ(stateOf(mStatuses.front()), 1);
    EXPECT_EQ(stateOf(mStatuses.back()), 0);
    EXPECT_TRUE(set->statusCallback()) << "the callback is the set's, not the handle's";
    EXPECT_EQ(TempRoot::readFile(mWorld.network() / "notes/plan.txt"), "from here");
    EXPECT_EQ(TempRoot::readFile(mWorld.local() / "photos/\xff\xfe.jpg"), "from there");
    EXPECT_FALSE(std::filesystem::exists(mWorld.network() / "scratch.tmp"));
    std::filesystem::remove(mWorld.local() / "scratch.tmp");
    expectEqualHomes();

    // Both sides edit one file: a conflict, left alone and counted.
    TempRoot::writeFile(mWorld.local() / "notes/plan.txt", "edited here");
    TempRoot::writeFile(mWorld.network() / "notes/plan.txt", "edited there, too");
    EXPECT_EQ(pass(*set), 0);
    EXPECT_EQ(set->info().at(platform::kSyncSetUnresolvedConflictsCountKey), roamer::PropertyList(1));
    EXPECT_EQ(TempRoot::readFile(mWorld.local() / "notes/plan.txt"), "edited here");

    configure(*set, {{platform::kSyncOptionResolveConflictInFavorOfPeerKey, set->localPeer().peerRef()}});
    EXPECT_EQ(pass(*set), 0);
    EXPECT_EQ(set->info().at(platform::kSyncSetUnresolvedConflictsCountKey), roamer::PropertyList(0));
    EXPECT_EQ(TempRoot::readFile(mWorld.network() / "notes/plan.txt"), "edited here");
    expectEqualHomes();
}

TEST_F(BraidAgent, ALateStatusOfTheLastPassIsNotTakenForTheNewOne)
{
    const auto set = createSet();
    configure(*set);
    set->startSync();
    // No slice of the loop in between: the statuses of this pass wait to be delivered.
    for (int i = 0; i < 1000 && set->state() != 0; ++i)
        ::usleep(10'000);
    listen(*set);
    set->startSync();
    ASSERT_TRUE(waitForState(0, 30));
    mWorld.loop().runFor(platform::seconds(0.3));
    EXPECT_EQ(stateOf(mStatuses.front()), 1);
    EXPECT_EQ(std::count_if(mStatuses.begin(), mStatuses.end(), [](auto& status) { return stateOf(status) == 0; }), 1);
}

TEST_F(BraidAgent, AJobThatMayNotWriteSaysSoInThePassStatus)
{
    TempRoot::writeFile(mWorld.network() / "new", "x");
    const auto set = createSet();
    const auto local = set->localPeer().peerRef();
    configure(*set, {{platform::kSyncOptionPeerSyncPassReadOnlyKey, local},
                     {platform::kSyncOptionPeerAbortSyncPassOnWriteToReadOnlyKey, local}});
    pass(*set);
    bool named = false;
    for (const auto& status : mStatuses) {
        const auto entry = status.find(platform::kProgressSyncPassStatusKey);
        if (entry == status.end() || stateOf(status) < 4 || stateOf(status) > 6) continue;
        named = named || entry->second.description().find(platform::kAttemptToWriteToReadOnlyPeer) != std::string::npos;
    }
    EXPECT_TRUE(named);
    EXPECT_FALSE(std::filesystem::exists(mWorld.local() / "new"));
}

TEST_F(BraidAgent, AnAbortedPassEndsSoonAndTheNextOneFinishes)
{
    writeManyFiles(1000);
    const auto set = createSet();
    configure(*set);
    listen(*set);
    set->startSync();
    EXPECT_EQ(failureOf([&] { set->startSync(); }), "PassIsRunning");
    ASSERT_TRUE(waitForState(4, 30));
    set->abortSync();
    ASSERT_TRUE(waitForState(0, 10));
    EXPECT_EQ(set->lastSyncResult(), platform::kSyncResultAborted);
    EXPECT_TRUE(reached(7));
    EXPECT_EQ(pass(*set), 0);
    expectEqualHomes();
}

TEST_F(BraidAgent, ANewEngineGoesOnWhereAKilledOneStopped)
{
    writeManyFiles(1000);
    auto set = createSet();
    configure(*set);
    set->setAutomaticSyncInterval(5000);
    set->setIsAutomaticallySyncing(true);
    listen(*set);
    set->startSync();
    ASSERT_TRUE(waitForState(4, 30));
    mWorld.endEngine(SIGKILL);
    EXPECT_FALSE(manager().syncAgentIsRunning());
    EXPECT_TRUE(set->info().empty());

    set = manager().phdSyncSet();
    ASSERT_NE(set, nullptr);
    EXPECT_TRUE(set->isAutomaticallySyncing());
    EXPECT_EQ(set->state(), 0);
    EXPECT_EQ(pass(*set), 0);
    expectEqualHomes();
}

TEST_F(BraidAgent, TerminatedDuringAPassItEndsCleanly)
{
    writeManyFiles(1000);
    auto set = createSet();
    configure(*set);
    listen(*set);
    set->startSync();
    ASSERT_TRUE(waitForState(4, 30));
    mWorld.endEngine(SIGTERM);
    EXPECT_TRUE(waitForState(7, 5)) << "the pass was ended, not cut off";
    set = manager().phdSyncSet();
    ASSERT_NE(set, nullptr);
    EXPECT_EQ(pass(*set), 0);
    expectEqualHomes();
}

TEST_F(BraidAgent, SyncsByItselfAtItsTimeAndWhenTheHomeChanges)
{
    TempRoot::writeFile(mWorld.local() / "a", "1");
    const auto set = createSet();
    configure(*set);
    set->setAutomaticSyncInterval(1000);
    set->setAutoSyncOnFileSystemModification(true);
    set->setNextSyncTime(mWorld.loop().date() + std::chrono::seconds(600));
    set->setIsAutomaticallySyncing(true);
    // Several levels at once, made while the watch is there already.
    mWorld.loop().runFor(platform::seconds(0.5));
    TempRoot::writeFile(mWorld.local() / "new/folder/b", "2");
    const auto isThere = [&](const char* path) {
        return mWorld.waitFor([&] { return std::filesystem::exists(mWorld.network() / path); }, 20);
    };
    EXPECT_TRUE(isThere("new/folder/b"));
    EXPECT_TRUE(isThere("a"));

    set->setAutoSyncOnFileSystemModification(false);
    TempRoot::writeFile(mWorld.local() / "c", "3");
    set->setNextSyncTime(mWorld.loop().date() + std::chrono::seconds(1));
    EXPECT_TRUE(isThere("c"));
    ASSERT_TRUE(mWorld.waitFor([&] { return set->state() == 0; }, 10));
    expectEqualHomes();
}

TEST_F(BraidAgent, AMissingNetworkHomeFailsThePassAndDeletesNothing)
{
    TempRoot::writeFile(mWorld.local() / "a", "1");
    const auto set = createSet();
    configure(*set);
    EXPECT_EQ(pass(*set), 0);
    set->setRemoteHomePath((mWorld.network() / "gone").string());
    EXPECT_EQ(pass(*set), ENOENT);
    EXPECT_TRUE(std::filesystem::exists(mWorld.local() / "a"));
    set->setRemoteHomePath(std::nullopt);
    set->setRemoteHomeXMLSpec("smb://server/homes");
    EXPECT_EQ(pass(*set), EPROTONOSUPPORT);
}

TEST_F(BraidAgent, AHomeThatAnotherProcessSyncsIsBusy)
{
    auto mine = braid::EngineLock::take(mWorld.local());
    ASSERT_TRUE(std::holds_alternative<std::unique_ptr<braid::EngineLock>>(mine));
    const auto set = createSet();
    configure(*set);
    EXPECT_EQ(pass(*set), EBUSY);
    listen(*set);
    set->startSync();
    mWorld.loop().runFor(platform::seconds(0.5));
    EXPECT_NE(set->state(), 0) << "it waits for the lock";
    mine = std::string();
    ASSERT_TRUE(waitForState(0, 10));
    EXPECT_EQ(set->lastSyncResult(), 0);
}

TEST_F(BraidAgent, AForgottenSetIsGoneForEveryEngine)
{
    const auto set = createSet();
    configure(*set);
    set->setStatusCallback([](const Dictionary&) {});
    set->forget();
    EXPECT_EQ(manager().phdSyncSet(), nullptr);
    EXPECT_FALSE(set->statusCallback());
    EXPECT_EQ(failureOf([&] { set->setIsAutomaticallySyncing(true); }), "NoSyncSet");
    EXPECT_EQ(failureOf([&] { set->startSync(); }), "NoSyncSet");
    mWorld.endEngine(SIGTERM);
    EXPECT_EQ(manager().phdSyncSet(), nullptr);
    EXPECT_NE(createSet(), nullptr);
}

} // namespace
