#include <gtest/gtest.h>

#include <array>
#include <cerrno>

#include "histories.h"
#include "history_world.h"

namespace braid::sim
{
namespace
{

using Verb = Step::Verb;
using Kind = Mishap::Kind;

Step at(int home, Verb verb, const char* path, std::uint64_t number = 0, const char* other = "")
{
    return {.verb = verb, .home = home, .path = path, .other = other, .number = number};
}

struct Scenario {
    const char* name;
    std::vector<Step> steps; ///< The mishap strikes the pass that follows them.
};

const Scenario kScenarios[] = {
    {"first sync",
     {at(0, Verb::Write, "a", 1), at(0, Verb::Write, "b/b", 2), at(0, Verb::Write, "b/c/d.x", 3),
      at(0, Verb::SetMode, "b/c", 0555), at(0, Verb::SetAttribute, "b", 4), at(1, Verb::Write, "c", 5),
      at(1, Verb::MakeLink, "d", 6)}},
    {"edits, deletions, moves and new folders on both sides",
     {at(0, Verb::Write, "a", 1), at(0, Verb::Write, "b/b", 2), at(0, Verb::Write, "b/c/d", 3),
      at(0, Verb::Write, "d", 4), at(0, Verb::Wait, "", 10'000'000'000), at(0, Verb::Pass, ""),
      at(0, Verb::Wait, "", 10'000'000'000), at(0, Verb::Write, "a", 11), at(1, Verb::Replace, "d", 7),
      at(0, Verb::Remove, "b/c"), at(1, Verb::Rename, "b/b", 0, "e"), at(1, Verb::Write, "new/one", 12),
      at(1, Verb::SetMode, "b", 0700), at(0, Verb::SetAttribute, "d", 13)}},
    {"files with several names",
     {at(0, Verb::Write, "a", 1), at(0, Verb::AddName, "a", 0, "b"), at(0, Verb::MakeFolder, "d"),
      at(0, Verb::AddName, "a", 0, "d/c"), at(0, Verb::Write, "e", 2), at(0, Verb::AddName, "e", 0, "f"),
      at(0, Verb::Write, "g", 3), at(0, Verb::Wait, "", 10'000'000'000), at(0, Verb::Pass, ""),
      at(0, Verb::Wait, "", 10'000'000'000), at(0, Verb::Write, "b", 11), at(0, Verb::AddName, "e", 0, "d/h"),
      at(0, Verb::AddName, "g", 0, "i"), at(1, Verb::Remove, "f"), at(0, Verb::Write, "j", 12),
      at(0, Verb::AddName, "j", 0, "d/j")}},
    {"types change",
     {at(0, Verb::Write, "a", 1), at(0, Verb::Write, "b/b", 2), at(0, Verb::Write, "b/c", 3), at(0, Verb::Pass, ""),
      at(0, Verb::Wait, "", 10'000'000'000), at(0, Verb::Remove, "a"), at(0, Verb::Write, "a/a", 11),
      at(1, Verb::Remove, "b"), at(1, Verb::Write, "b", 12)}},
};

DiskTraits plainDisk()
{
    DiskTraits traits;
    traits.timeStep = 1'000'000'000;
    traits.exchanges = traits.renamesNew = traits.hardLinks = false;
    traits.copiesRanges = traits.flushesAsAWhole = false;
    return traits;
}

struct Blow {
    Kind kind;
    int code;
    bool onPlainDisks;
};

constexpr auto kBlows = std::to_array<Blow>({
    {Kind::Killed, 0, false},
    {Kind::Killed, 0, true},
    {Kind::PowerCut, 0, false},
    {Kind::PowerCut, 0, true},
    {Kind::ServerCut, 0, false},
    {Kind::ServerCut, 0, true},
    {Kind::Fails, EIO, false},
    {Kind::Fails, ENOSPC, true},
    {Kind::Fails, EDQUOT, false},
    {Kind::Fails, EROFS, false},
    {Kind::Fails, EACCES, true},
    {Kind::Fails, ENAMETOOLONG, false},
    {Kind::Fails, ESTALE, false},
    {Kind::Fails, ENOTCONN, true},
    {Kind::Fails, EINTR, false},
    {Kind::AnswerIsLost, EIO, false},
    {Kind::AnswerIsLost, ESTALE, true},
});

class KillPoints : public testing::TestWithParam<std::size_t>
{
};

/// Before each call of the pass in turn; what must hold afterwards is what must hold after any history.
TEST_P(KillPoints, EveryCallOfAPass)
{
    const Blow& blow = kBlows[GetParam()];
    for (const Scenario& scenario : kScenarios) {
        History history;
        history.seed = 1;
        history.steps = scenario.steps;
        if (blow.onPlainDisks) history.local = history.network = plainDisk();
        history.steps.push_back({.verb = Verb::Pass, .mishap = blow.kind, .code = blow.code});
        std::string struck = "the first";
        long call = 0;
        while (!struck.empty()) {
            history.steps.back().call = ++call;
            const auto failure = failureOf(history, &struck);
            ASSERT_FALSE(failure) << scenario.name << ", call " << call << "\n" << report(history, *failure);
        }
        EXPECT_GT(call, 100) << scenario.name;
    }
}

TEST(FailingCalls, LeaveAFileInPlaceWhoseFolderDoesNotCome)
{
    std::string struck = "the first";
    for (long call = 1; !struck.empty(); ++call) {
        Scene scene;
        scene.does(at(0, Verb::Write, "a", 1));
        scene.pass();
        scene.does(at(0, Verb::Remove, "a"));
        scene.does(at(0, Verb::MakeFolder, "a"));
        scene.pass({.kind = Kind::Fails, .call = call, .code = EIO, .meanwhile = {}});
        struck = scene.world().struck();
        EXPECT_TRUE(scene.view(1).contains("a")) << "after a failing " << struck << ", call " << call;
    }
}

TEST(FailingCalls, KeepNoMovedFileBack)
{
    Scene scene;
    scene.does(at(0, Verb::Write, "d/a", 1));
    scene.pass();
    scene.does(at(0, Verb::Rename, "d/a", 0, "b"));
    scene.does(at(1, Verb::SetMode, "d", 0555)); // nothing can be moved out of it there
    const PassReport report = scene.pass();
    EXPECT_TRUE(scene.view(1).contains("d/a") && scene.view(1).contains("b"));
    ASSERT_EQ(report.errors.size(), 1U);
    EXPECT_EQ(report.errors[0].path, "d/a");
}

TEST(KilledPasses, LeaveNoFolderThatCannotBeDeleted)
{
    std::string struck = "the first";
    for (long call = 1; !struck.empty(); ++call) {
        Scene scene;
        scene.settings().allowMassDeletion = true;
        scene.does(at(0, Verb::Write, "a/b/c", 1));
        scene.pass({.kind = Kind::Killed, .call = call, .code = 0, .meanwhile = {}});
        struck = scene.world().struck();
        scene.pass();
        scene.does(at(1, Verb::Remove, "a"));
        scene.pass();
        EXPECT_FALSE(scene.view(0).contains("a")) << "killed before call " << call;
    }
}

INSTANTIATE_TEST_SUITE_P(Blows, KillPoints, testing::Range(std::size_t{0}, kBlows.size()));

} // namespace
} // namespace braid::sim
