#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <sstream>
#include <thread>

#include "braid/cli/commands.h"
#include "braid/disk/listing_pool.h"
#include "braid/disk/seam.h"
#include "braid/home_status.h"
#include "home_pair.h"

/// What a person does between passes, as the command does it.
namespace braid
{
namespace
{

namespace fs = std::filesystem;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

constexpr std::int64_t kSecond = 1'000'000'000;
constexpr std::int64_t kNoonOfADay = (1'769'817'600 + 12 * 3600) * kSecond; // 2026-01-31

struct Said {
    int status = 0;
    std::string out;
    std::string err;
};

Said braidCommand(std::vector<std::string> words)
{
    words.insert(words.begin(), "braid");
    std::vector<const char*> pointers;
    for (const std::string& word : words)
        pointers.push_back(word.c_str());
    const auto parsed = cli::parse(static_cast<int>(pointers.size()), pointers.data());
    if (const auto* status = std::get_if<cli::ExitStatus>(&parsed)) return {*status, {}, {}};
    std::ostringstream out;
    std::ostringstream err;
    const auto execute = [&](const auto& options) { return cli::run(options, {out, err}); };
    const int status = std::visit(execute, std::get<cli::Request>(parsed));
    return {status, out.str(), err.str()};
}

/// "plan.txt" edited on both sides, "gone" deleted here and edited there, each recorded as a conflict.
struct InConflict : testing::Test {
    HomePair pair;
    InConflict()
    {
        write(pair.local() / "plan.txt", "first");
        write(pair.local() / "gone", "first");
        write(pair.local() / "other", "first");
        pair.sync();
        write(pair.local() / "plan.txt", "here");
        write(pair.network() / "plan.txt", "there!");
        setTime(pair.network() / "plan.txt", kNoonOfADay);
        fs::remove(pair.local() / "gone");
        write(pair.network() / "gone", "edited");
        pair.sync();
        write(pair.local() / "other", "not asked for");
    }
    Said resolve(const std::string& path, const std::string& keep) const
    {
        return braidCommand({"resolve", pair.local(), path, "--keep", keep});
    }
    void expectInStep() const
    {
        EXPECT_EQ(read(pair.network() / "other"), "first") << "resolving touches what was named";
        const PassReport report = pair.sync();
        EXPECT_THAT(report.conflicts, IsEmpty());
        EXPECT_EQ(report.counts.updated, 1U); // the other file
        EXPECT_EQ(report.counts.created + report.counts.deleted, 0U);
        EXPECT_EQ(differences(treeOf(pair.local(), false), treeOf(pair.network(), false)), "");
    }
};

TEST_F(InConflict, TheFactsOfBothSidesAreTold)
{
    const Said said = braidCommand({"conflicts", pair.local()});
    EXPECT_EQ(said.status, 1);
    EXPECT_THAT(said.out, HasSubstr("gone: deleted here, changed on the network (6 bytes, "));
    EXPECT_THAT(said.out, HasSubstr("plan.txt: changed on both sides: here 4 bytes, "));
    EXPECT_THAT(said.out, HasSubstr("; on the network 6 bytes, 2026-01-31 "));
    const std::string json = braidCommand({"conflicts", pair.local(), "--json"}).out;
    EXPECT_THAT(json,
                HasSubstr(R"("path": "gone", "kind": "modify/delete", "local": null, "network": {"kind": "file")"));
    EXPECT_THAT(json, HasSubstr(R"("size": 6, "modified": "2026-01-31T12:00:00Z"})"));
}

TEST_F(InConflict, KeepingOneSidePutsTheOtherIntoTheTrash)
{
    EXPECT_EQ(resolve("plan.txt", "local").status, 0);
    EXPECT_EQ(read(pair.network() / "plan.txt"), "here");
    EXPECT_THAT(trashContents(pair.network()), ElementsAre("there!"));
    EXPECT_EQ(braidCommand({"conflicts", pair.local()}).status, 1) << "one conflict is left";

    EXPECT_EQ(resolve("gone", "network").status, 0);
    EXPECT_EQ(read(pair.local() / "gone"), "edited");
    EXPECT_EQ(braidCommand({"conflicts", pair.local()}).out, "No conflicts.\n");
    expectInStep();
}

TEST_F(InConflict, KeepingBothOverwritesNothing)
{
    write(pair.local() / "plan (network, 2026-01-31).txt", "in the way here");
    write(pair.network() / "plan (network, 2026-01-31, 2).txt", "in the way there");
    const Said said = braidCommand({"resolve", pair.local(), "plan.txt", "gone", "--keep", "both"});
    EXPECT_EQ(said.status, 0) << said.err;
    EXPECT_THAT(said.out, HasSubstr("plan (network, 2026-01-31, 3).txt"));
    for (const fs::path& home : {pair.local(), pair.network()}) {
        EXPECT_EQ(read(home / "plan.txt"), "here");
        EXPECT_EQ(read(home / "plan (network, 2026-01-31, 3).txt"), "there!");
        EXPECT_EQ(read(home / "gone"), "edited");
        EXPECT_THAT(trashContents(home), IsEmpty());
    }
    EXPECT_EQ(read(pair.local() / "plan (network, 2026-01-31).txt"), "in the way here");
    EXPECT_EQ(read(pair.network() / "plan (network, 2026-01-31, 2).txt"), "in the way there");
    pair.sync();
    EXPECT_EQ(differences(treeOf(pair.local(), false), treeOf(pair.network(), false)), "");
}

TEST_F(InConflict, WhatCannotBeDecidedIsRefusedAndChangesNothing)
{
    const fs::path foreign = pair.top() / "foreign";
    fs::create_directory(foreign);
    const Tree before = footprintOf(pair.network());
    const std::vector<std::vector<std::string>> cases{
        {"resolve", pair.local(), "plan.txt", "other", "--keep", "both"},
        {"resolve", pair.local(), "plan.txt", "--keep", "local", "--network", foreign},
        {"resolve", foreign, "plan.txt", "--keep", "local"},
        {"resolve", pair.top() / "missing", "plan.txt", "--keep", "local"},
    };
    for (const auto& words : cases) {
        const Said said = braidCommand(words);
        EXPECT_EQ(said.status, 3) << words[1];
        EXPECT_NE(said.err, "");
    }
    EXPECT_EQ(braidCommand({"resolve", pair.local(), "plan.txt", "--keep", "neither"}).status, 2);
    EXPECT_EQ(differences(before, footprintOf(pair.network())), "");
    EXPECT_TRUE(fs::is_empty(foreign));
}

TEST_F(InConflict, AVersionComesBackFromTheTrashBesideWhatIsThere)
{
    resolve("plan.txt", "local");
    const std::string home = pair.network();
    for (const char* name : {"plan (trash, 2026-01-31).txt", "plan (trash, 2026-01-31, 2).txt"}) {
        EXPECT_EQ(braidCommand({"trash", "restore", home, "plan.txt"}).status, 0);
        EXPECT_EQ(read(pair.network() / name), "there!");
        EXPECT_EQ(read(pair.network() / "plan.txt"), "here");
    }
    fs::remove(pair.network() / "plan.txt");
    EXPECT_EQ(braidCommand({"trash", "restore", home, "plan.txt"}).status, 0);
    EXPECT_EQ(read(pair.network() / "plan.txt"), "there!");
    EXPECT_EQ(braidCommand({"trash", "restore", home, "never"}).status, 3);

    EXPECT_THAT(braidCommand({"trash", "list", home}).out, HasSubstr("  plan.txt (6 bytes)\n"));
    braidCommand({"trash", "empty", home, "--days", "1"});
    EXPECT_THAT(trashContents(home), ElementsAre("there!"));
    braidCommand({"trash", "empty", home});
    EXPECT_EQ(braidCommand({"trash", "list", home}).out, "The trash is empty.\n");
}

TEST_F(InConflict, TheStatusKnowsThePair)
{
    resolve("plan.txt", "network");
    const auto lock = EngineLock::take(pair.local());
    const HomeStatus status = statusOf(pair.local());
    ASSERT_TRUE(status.partner && status.engine);
    EXPECT_EQ(status.partner->home, pair.network());
    EXPECT_EQ(status.partner->items, 3U);
    EXPECT_EQ(status.matters.conflicts.size(), 1U);
    EXPECT_EQ(status.trashBytes, 4U);
    EXPECT_EQ(status.engine->pid, ::getpid());
    EXPECT_FALSE(statusOf(pair.top()).partner);
}

TEST_F(InConflict, AForgottenPairStartsAnewAndLosesNothing)
{
    write(pair.local() / "more", "more");
    pair.sync();
    fs::remove(pair.network() / "more");
    EXPECT_EQ(braidCommand({"forget", pair.local()}).status, 0);
    EXPECT_EQ(braidCommand({"conflicts", pair.local()}).out, "No conflicts.\n");
    EXPECT_EQ(pair.sync().counts.deleted, 0U);
    EXPECT_EQ(read(pair.network() / "more"), "more");
}

TEST(Operations, AreCountedForTheHomeThatTheyWorkIn)
{
    HomePair pair;
    constexpr std::uint64_t kFiles = 100;
    for (std::uint64_t i = 0; i < kFiles; ++i)
        write(pair.local() / (i % 2 == 0 ? "a" : "b") / std::to_string(i), "content " + std::to_string(i));
    PassReport first = pair.sync();
    // There also how far this computer has counted, here the archive's room.
    EXPECT_EQ(first.networkOps["create"] - first.localOps["create"], kFiles);
    EXPECT_GE(first.networkOps["write"], kFiles);
    EXPECT_LE(first.localOps["write"], 5U); // the marker and that room, at most
    EXPECT_GE(first.localOps["read"], kFiles);

    pair.sync(); // learns what the first pass wrote too late to trust
    PassReport idle = pair.sync();
    EXPECT_LE(idle.networkOps["list"], 3U + 2U); // and the marker folder's own two
    EXPECT_LE(idle.networkOps["stat"], kFiles + 10);
    EXPECT_LE(idle.networkOps["read"], 2U); // the marker, and how far this computer has counted
    EXPECT_EQ(idle.networkOps.count("attributes"), 0U);
}

std::atomic<int> gUnderWay{0};
std::atomic<int> gMostUnderWay{0};

/// As from a server that is 10 ms away.
int answerLate(seam::Operation operation, const char*)
{
    if (seam::changesDisk(operation)) return 0;
    gMostUnderWay = std::max(gMostUnderWay.load(), ++gUnderWay);
    std::this_thread::sleep_for(std::chrono::milliseconds{10});
    --gUnderWay;
    return 0;
}

TEST(Operations, ManyAreUnderWayWhereAnswersTakeLong)
{
    HomePair pair;
    for (int i = 0; i < 400; ++i) // most of them in one folder
        write(pair.local() / (i % 4 == 0 ? "f" + std::to_string(i % 40) : "many") / std::to_string(i), "content");
    pair.sync();
    pair.sync();
    seam::gWatcher = answerLate;
    const PassReport report = pair.sync();
    seam::gWatcher = nullptr;
    EXPECT_EQ(writesOf(report), 0U);
    EXPECT_GE(gMostUnderWay, 16);
    EXPECT_LE(gMostUnderWay, 2 * static_cast<int>(ListingPool::kMostThreads) + 1);
    EXPECT_LT(report.seconds, 850 * 0.010 / 4);
}

} // namespace
} // namespace braid
