#include <gtest/gtest.h>

#include <cerrno>

#include "braid/disk/calls.h"
#include "history_world.h"

namespace braid::sim
{
namespace
{

using Verb = Step::Verb;
constexpr const char* kFiller = "filler";

/// No pass looks at what lies there.
Descriptor markerFolder(const Scene& scene)
{
    return std::move(*disk::openTop(scene.world().home(0) + "/.Braid"));
}

/// To the last byte.
void fillLocalDisk(const Scene& scene)
{
    const auto doing = scene.world().person();
    const auto file = disk::openToWrite(markerFolder(scene).number(), kFiller, true);
    for (std::size_t chunk = std::size_t{4} << 20; chunk > 0; chunk /= 2) {
        const std::string bytes(chunk, 'x');
        while (disk::system().write(file->number(), bytes.data(), chunk) > 0) {}
    }
}

void makeRoom(const Scene& scene)
{
    const auto doing = scene.world().person();
    EXPECT_EQ(disk::unlink(markerFolder(scene).number(), kFiller), 0);
}

struct FullDiskCase {
    const char* name;
    bool setsAside; ///< Room, without which no pass runs.
    bool isQuota;
};

class FullDisk : public testing::TestWithParam<FullDiskCase>
{
};

TEST_P(FullDisk, KeepsNoChangeOnItFromTheOtherHome)
{
    const bool setsAside = GetParam().setsAside;
    History history;
    history.local.tellsRoom = !GetParam().isQuota;
    history.local.capacity = std::uint64_t{24} << 20;
    history.local.copiesRanges = setsAside;
    Scene scene{history};
    scene.does({.verb = Verb::Write, .path = "a", .number = 1});
    scene.does({.verb = Verb::Write, .path = "b", .number = 2});
    ASSERT_EQ(scene.pass().result, kPassSucceeded);
    scene.does({.verb = Verb::Write, .home = 1, .path = "large", .number = kLargeContents});
    scene.does({.verb = Verb::Remove, .path = "b"});
    for (std::uint64_t round = 10; round < 13; ++round) {
        scene.does({.verb = Verb::Write, .path = "a", .number = round});
        fillLocalDisk(scene);
        const PassReport report = scene.pass();
        EXPECT_EQ(report.result, setsAside ? kPassSucceeded : ENOSPC) << report.reason;
        EXPECT_EQ(scene.view(0).at("a").holdsSame(scene.view(1).at("a")), setsAside);
        EXPECT_EQ(scene.view(1).contains("b"), !setsAside);
        EXPECT_EQ(report.errors.size(), setsAside ? 1U : 0U); // of the large file
        makeRoom(scene);
    }
    EXPECT_EQ(scene.pass().result, kPassSucceeded);
    const auto same = [](const auto& one, const auto& other) { return one.second.holdsSame(other.second); };
    EXPECT_TRUE(std::ranges::equal(scene.view(0), scene.view(1), same));
}

constexpr FullDiskCase kCases[] = {
    {"Disk", true, false}, {"Quota", true, true}, {"DiskWithoutRoomSetAside", false, false}};

INSTANTIATE_TEST_SUITE_P(Of, FullDisk, testing::ValuesIn(kCases), [](const auto& info) { return info.param.name; });

} // namespace
} // namespace braid::sim
