#include <gtest/gtest.h>

#include <cerrno>

#include "braid/disk/calls.h"
#include "histories.h"
#include "history_world.h"
#include "home_view.h"

namespace braid::sim
{
namespace
{

using Verb = Step::Verb;

/// A pair whose local disk people fill.
class FullDisk : public testing::TestWithParam<bool>
{
protected:
    FullDisk()
    {
        History history;
        history.local.capacity = std::uint64_t{24} << 20;
        history.local.copiesRanges = GetParam(); // it can set room aside, too
        mWorld = World::make(history);
        mSettings.localHome = mWorld->home(0);
        mSettings.networkHome = mWorld->home(1);
        mSettings.jobs.resize(1);
    }

    void does(int home, Verb verb, const char* path, std::uint64_t number = 0)
    {
        const auto doing = mWorld->person();
        carryOut({.verb = verb, .home = home, .path = path, .number = number}, mWorld->home(home));
    }

    /// To the last byte, with a file that no pass looks at.
    void fill()
    {
        const auto doing = mWorld->person();
        const auto file = disk::openToWrite(folder().number(), kFiller, true);
        for (std::size_t chunk = std::size_t{4} << 20; chunk > 0; chunk /= 2) {
            const std::string bytes(chunk, 'x');
            while (disk::system().write(file->number(), bytes.data(), chunk) > 0) {}
        }
    }

    void makeRoom()
    {
        const auto doing = mWorld->person();
        EXPECT_EQ(disk::unlink(folder().number(), kFiller), 0);
    }

    PassReport pass()
    {
        mWorld->wait(10'000'000'000);
        return mWorld->pass(mSettings, {});
    }

    View view(int home) const
    {
        const auto looking = mWorld->person();
        return viewOf(mWorld->home(home));
    }

    Descriptor folder() const { return std::move(*disk::openTop(mWorld->home(0) + "/.Braid")); }
    static constexpr const char* kFiller = "filler";

    std::unique_ptr<World> mWorld;
    PassSettings mSettings;
};

TEST_P(FullDisk, KeepsNoChangeOnItFromTheOtherHome)
{
    const bool setsAside = GetParam();
    does(0, Verb::Write, "a", 1);
    does(0, Verb::Write, "b", 2);
    ASSERT_EQ(pass().result, kPassSucceeded);
    does(1, Verb::Write, "large", kLargeContents);
    does(0, Verb::Remove, "b");
    for (std::uint64_t round = 10; round < 13; ++round) {
        does(0, Verb::Write, "a", round);
        fill();
        const PassReport report = pass();
        EXPECT_EQ(report.result, setsAside ? kPassSucceeded : ENOSPC) << report.reason;
        EXPECT_EQ(view(0).at("a").holdsSame(view(1).at("a")), setsAside);
        EXPECT_EQ(view(1).contains("b"), !setsAside);
        EXPECT_EQ(report.errors.size(), setsAside ? 1U : 0U); // of the large file
        makeRoom();
    }
    EXPECT_EQ(pass().result, kPassSucceeded);
    const auto same = [](const auto& one, const auto& other) { return one.second.holdsSame(other.second); };
    EXPECT_TRUE(std::ranges::equal(view(0), view(1), same));
}

INSTANTIATE_TEST_SUITE_P(SetsRoomAside, FullDisk, testing::Bool());

} // namespace
} // namespace braid::sim
