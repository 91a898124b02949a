#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <fstream>

#include "braid/disk/calls.h"
#include "braid/disk/content.h"
#include "history_world.h"
#include "home_pair.h"

namespace braid
{
namespace
{

namespace fs = std::filesystem;

constexpr std::int64_t kSecond = 1'000'000'000;

/// Blocks that differ from each other.
std::string content(std::size_t blocks)
{
    std::string bytes;
    for (std::size_t i = 0; i < blocks; ++i)
        bytes += std::string(kBlockBytes, static_cast<char>('a' + i));
    return bytes;
}

Descriptor opened(const fs::path& file)
{
    return Descriptor{::open(file.c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0600)};
}

TEST(LargeFile, OnlyChangedBlocksAreWrittenOverAnOldVersion)
{
    const HomePair pair;
    const std::string before = content(6);
    std::string after = before + "appended";
    after[static_cast<std::size_t>(2 * kBlockBytes + 5)] = '!';
    write(pair.local() / "old", before);
    write(pair.local() / "new", after);
    const Descriptor old = opened(pair.local() / "old");
    const Descriptor now = opened(pair.local() / "new");
    const auto oldDigest = digestOpen(old, *disk::statOf(old.number()), {});
    const Stat stat = *disk::statOf(now.number());
    const auto newDigest = digestOpen(now, stat, {});
    ASSERT_TRUE(oldDigest && newDigest);
    auto changed = changedBlocks(*newDigest, oldDigest->blocks);
    EXPECT_EQ(changed, (std::vector<std::size_t>{2, 6}));

    std::uint64_t bytes = 0;
    const auto count = [&](std::uint64_t more) { bytes += more; };
    EXPECT_EQ(copyBlocks(now, stat, old, *newDigest, changed, {}, count), 0);
    EXPECT_EQ(read(pair.local() / "old"), after);
    EXPECT_EQ(bytes, static_cast<std::uint64_t>(kBlockBytes) + 8);

    // Somebody writes to it between reading and copying.
    std::ofstream{pair.local() / "new", std::ios::in}.seekp(2 * kBlockBytes) << "?";
    EXPECT_EQ(copyBlocks(now, stat, old, *newDigest, changed, {}, count), EAGAIN);
}

TEST(LargeFile, TouchedOnOneSideOrBothIsNeitherCopiedNorAConflict)
{
    const HomePair pair;
    write(pair.local() / "big", content(5));
    pair.sync();
    setTime(pair.network() / "big", 1'650'000'000 * kSecond);
    PassReport report = pair.sync();
    EXPECT_EQ(report.counts.bytes, 0U);
    EXPECT_EQ(report.counts.updated, 1U);
    EXPECT_TRUE(trashContents(pair.local()).empty());
    EXPECT_EQ(treeOf(pair.local()), treeOf(pair.network()));

    setTime(pair.local() / "big", 1'660'000'000 * kSecond);
    setTime(pair.network() / "big", 1'670'000'000 * kSecond);
    report = pair.sync();
    EXPECT_TRUE(report.conflicts.empty());
    EXPECT_EQ(report.counts.bytes, 0U);
    EXPECT_EQ(treeOf(pair.local()), treeOf(pair.network()));
    EXPECT_EQ(writesOf(pair.sync()), 0U);
}

TEST(LargeFile, HolesAreNeitherReadNorWritten)
{
    const HomePair pair;
    const fs::path file = pair.local() / "sparse"; // young, so that the next pass compares it once more
    {
        std::ofstream out{file};
        out.seekp((std::int64_t{1} << 33) + 12345) << "in the middle";
    }
    fs::resize_file(file, std::uint64_t{1} << 34);
    PassReport report = pair.sync();
    EXPECT_LT(report.localOps["read"] + report.networkOps["write"], 20U);
    report = pair.sync();
    EXPECT_TRUE(report.conflicts.empty() && report.errors.empty());
    EXPECT_LT(report.localOps["read"], 20U);

    struct stat facts {
    };
    ASSERT_EQ(::stat((pair.network() / "sparse").c_str(), &facts), 0);
    EXPECT_EQ(facts.st_size, std::int64_t{1} << 34);
    EXPECT_LT(facts.st_blocks * 512, 100'000);
    const Descriptor one = opened(file);
    const Descriptor other = opened(pair.network() / "sparse");
    EXPECT_EQ(digestOpen(one, *disk::statOf(one.number()), {})->whole,
              digestOpen(other, *disk::statOf(other.number()), {})->whole);

    // The same bytes without holes come down to the same.
    write(pair.local() / "dense", std::string(3 * kBlockBytes, '\0'));
    const Descriptor dense = opened(pair.local() / "dense");
    const Descriptor hole = opened(pair.local() / "hole");
    fs::resize_file(pair.local() / "hole", 3 * kBlockBytes);
    EXPECT_EQ(digestOpen(dense, *disk::statOf(dense.number()), {})->whole,
              digestOpen(hole, *disk::statOf(hole.number()), {})->whole);
}

TEST(LargeFile, ThatHasBecomeShortHoldsNothingOfItsOldVersion)
{
    sim::Scene scene; // whose network disk can clone
    scene.does({.verb = sim::Step::Verb::Write, .path = "a", .number = sim::kLargeContents});
    scene.pass();
    scene.pass(); // trusts the times of the first copy now
    scene.does({.verb = sim::Step::Verb::Write, .path = "a", .number = 16});
    scene.pass();
    EXPECT_EQ(scene.view(1).at("a").content, scene.view(0).at("a").content);
}

} // namespace
} // namespace braid
