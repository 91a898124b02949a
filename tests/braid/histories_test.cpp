#include <gtest/gtest.h>

#include "histories.h"

namespace braid::sim
{
namespace
{

constexpr std::uint64_t kShards = 8; // run side by side

class Histories : public testing::TestWithParam<std::uint64_t>
{
};

void runShare(std::uint64_t shard, std::uint64_t count, bool isReal)
{
    const std::uint64_t each = setting("BRAID_HISTORIES", count) / kShards;
    EXPECT_EQ(firstFailure(setting("BRAID_SEED", 1) + shard * each, each, isReal), "");
}

TEST_P(Histories, OnTheSimulatedDisk)
{
    runShare(GetParam(), 20'000, false);
}

TEST_P(Histories, OnTheRealDisk)
{
    runShare(GetParam(), 504, true);
}

/// For as long as the histories are made in the same way.
TEST(HistoriesAgain, OfFaultsThatFewOthersShow)
{
    for (const std::uint64_t seed : {28'766, 1'001'204, 2'014'214, 2'100'825, 2'105'395, 2'115'131, 5'119'929})
        EXPECT_EQ(firstFailure(seed, 1, false), "");
}

INSTANTIATE_TEST_SUITE_P(Shards, Histories, testing::Range(std::uint64_t{0}, kShards));

} // namespace
} // namespace braid::sim
