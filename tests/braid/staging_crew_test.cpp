#include <gtest/gtest.h>
#include <sys/resource.h>

#include <atomic>
#include <cerrno>
#include <cstring>
#include <filesystem>
#include <stop_token>

#include "braid/disk/seam.h"
#include "home_pair.h"

namespace braid
{

namespace fs = std::filesystem;

namespace
{

// Enough for several batches, and for each to be handed out to the threads.
constexpr std::size_t kFiles = 4500;

void fillWithMany(HomePair& pair)
{
    for (std::size_t i = 0; i < kFiles; ++i) {
        const fs::path home = i % 3 == 0 ? pair.network() : pair.local();
        write(home / ("folder " + std::to_string(i % 40)) / std::to_string(i), "file " + std::to_string(i));
    }
}

std::atomic<int> gCreated{0};
std::stop_source* gStop = nullptr;

int failToOpenSome(seam::Operation operation, const char* name)
{
    const std::size_t length = std::strlen(name);
    return operation == seam::Operation::OpenFile && length > 0 && name[length - 1] == '7' ? EACCES : 0;
}

int stopInBetween(seam::Operation operation, const char*)
{
    if (operation == seam::Operation::Create && ++gCreated == 3000) gStop->request_stop();
    return 0;
}

TEST(StagingCrew, FailedCopiesAreToldAndTheOthersGoOn)
{
    HomePair pair;
    fillWithMany(pair);
    seam::gWatcher = failToOpenSome;
    const PassReport report = pair.sync();
    seam::gWatcher = nullptr;
    EXPECT_EQ(report.errors.size(), kFiles / 10);
    EXPECT_EQ(report.counts.created, kFiles - kFiles / 10);
    for (const ItemError& error : report.errors)
        EXPECT_TRUE(error.path.ends_with('7')) << error.path;

    EXPECT_EQ(pair.sync().counts.created, kFiles / 10);
    EXPECT_EQ(treeOf(pair.local()), treeOf(pair.network()));
    EXPECT_TRUE(fs::is_empty(fs::directory_iterator { pair.network() / ".Braid/staging" } -> path()));
}

TEST(StagingCrew, AStopLeavesNoCopyBehindAndTheNextPassFinishes)
{
    HomePair pair;
    fillWithMany(pair);
    std::stop_source stop;
    gStop = &stop;
    seam::gWatcher = stopInBetween;
    const PassReport report = runPass(pair.settings(), stop.get_token());
    seam::gWatcher = nullptr;
    EXPECT_EQ(report.result, kPassAborted);
    EXPECT_LT(report.counts.created, kFiles);
    for (const fs::path& home : {pair.local(), pair.network()}) {
        EXPECT_TRUE(fs::is_empty(fs::directory_iterator { home / ".Braid/staging" } -> path())) << home;
    }
    EXPECT_EQ(pair.sync().counts.created, kFiles - report.counts.created);
    EXPECT_EQ(treeOf(pair.local()), treeOf(pair.network()));
}

TEST(StagingCrew, FewOpenFilesAreEnough)
{
    rlimit usual{};
    ASSERT_EQ(::getrlimit(RLIMIT_NOFILE, &usual), 0);
    HomePair pair;
    fillWithMany(pair);
    const rlimit few{540, usual.rlim_max}; // some copies of each batch may stay open, most may not
    ASSERT_EQ(::setrlimit(RLIMIT_NOFILE, &few), 0);
    const PassReport report = pair.sync();
    ASSERT_EQ(::setrlimit(RLIMIT_NOFILE, &usual), 0);
    EXPECT_EQ(report.errors.size(), 0U);
    EXPECT_EQ(report.counts.created, kFiles);
    EXPECT_EQ(treeOf(pair.local()), treeOf(pair.network()));
}

} // namespace

} // namespace braid
