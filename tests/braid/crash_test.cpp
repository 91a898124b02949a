#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <csignal>
#include <cstdlib>
#include <fstream>
#include <iostream>
#include <random>

#include "braid/disk/seam.h"
#include "home_pair.h"

namespace braid
{
namespace
{

namespace fs = std::filesystem;

std::atomic<long> gLeft{0};
std::atomic<int> gExchangeError{0};

/// The process dies before its n-th operation that would change a disk.
int killAtCountdown(seam::Operation operation, const char*)
{
    if (seam::changesDisk(operation) && gLeft.fetch_sub(1) == 1) ::raise(SIGKILL);
    return operation == seam::Operation::Exchange ? gExchangeError.load() : 0;
}

/// True if the pass came to its end before the n-th operation.
bool syncKilledAt(const PassSettings& settings, long operation)
{
    return survives([&] {
        gLeft = operation;
        seam::gWatcher = killAtCountdown;
        runPass(settings, {});
    });
}

std::set<std::string> contentsIn(const fs::path& home)
{
    std::set<std::string> contents;
    for (const auto& item : fs::recursive_directory_iterator{home}) {
        const bool isOwn = item.path().native().starts_with((home / ".Braid").native());
        if (!isOwn && fs::is_regular_file(item.symlink_status())) contents.insert(read(item.path()));
    }
    return contents;
}

/// Versions that were swapped with a copy when the process died. Copies themselves carry their own inode as a name, or
/// are still called new.
std::set<std::string> swappedOutIn(const fs::path& home)
{
    std::set<std::string> contents;
    if (!fs::exists(home / ".Braid/staging")) return contents;
    for (const auto& item : fs::recursive_directory_iterator{home / ".Braid/staging"}) {
        struct stat facts {
        };
        ::lstat(item.path().c_str(), &facts);
        const std::string name = item.path().filename().native();
        const bool isCopy = name.starts_with("new-") || name == "old-" + std::to_string(facts.st_ino);
        if (!isCopy && S_ISREG(facts.st_mode)) contents.insert(read(item.path()));
    }
    return contents;
}

/// Every content in both homes and in their trash; also in staging, which the next pass empties into the trash.
std::set<std::string> everythingKept(const HomePair& pair)
{
    std::set<std::string> all = contentsIn(pair.local());
    all.merge(contentsIn(pair.network()));
    for (const auto& home : {pair.local(), pair.network()}) {
        for (const std::string& content : trashContents(home))
            all.insert(content);
        all.merge(swappedOutIn(home));
    }
    return all;
}

void expectStagingEmpty(const fs::path& home)
{
    for (const auto& item : fs::recursive_directory_iterator{home / ".Braid/staging"}) {
        EXPECT_TRUE(fs::is_directory(item.status())) << item.path();
    }
}

struct Scenario {
    const char* name;
    std::function<void(const HomePair& pair)> agree; ///< Before a first pass; null: the pass under test is the first.
    std::function<void(const HomePair& pair)> edit;
    std::set<std::string> trash; ///< What must be in a trash at the end, and all that may be.
};

void firstContents(const HomePair& pair)
{
    write(pair.local() / "a", "a1");
    write(pair.local() / "folder/b", "b1");
    write(pair.local() / "folder/sub/c", "c1");
    write(pair.local() / "d", "d1");
    fs::create_directory(pair.local() / "read-only");
    ::chmod((pair.local() / "read-only").c_str(), 0555);
    setTime(pair.local() / "folder", 1'400'000'000'000'000'000);
}

const Scenario kScenarios[] = {
    {"first sync",
     nullptr,
     [](const HomePair& pair) {
         firstContents(pair);
         write(pair.network() / "there", "t1");
         makeLink(pair.network() / "link", "there");
     },
     {}},
    {"edits, deletions, moves and new folders on both sides",
     firstContents,
     [](const HomePair& pair) {
         write(pair.local() / "a", "a2");
         write(pair.network() / "d", "d2 longer");
         fs::remove_all(pair.local() / "folder/sub");
         fs::rename(pair.network() / "folder/b", pair.network() / "b moved");
         write(pair.network() / "new/one", "n1");
         ::chmod((pair.network() / "folder").c_str(), 0700);
     },
     {"a1", "c1", "d1"}},
    {"types change",
     firstContents,
     [](const HomePair& pair) {
         fs::remove(pair.local() / "a");
         write(pair.local() / "a/inside", "i1");
         fs::remove_all(pair.network() / "folder");
         write(pair.network() / "folder", "flat");
     },
     {"a1", "b1", "c1"}},
};

void killEverywhere(const Scenario& scenario)
{
    constexpr long kFarBeyond = 1000;
    for (long operation = 1;; ++operation) {
        SCOPED_TRACE(std::string{scenario.name} + ", killed before change number " + std::to_string(operation));
        ASSERT_LT(operation, kFarBeyond);
        HomePair pair;
        if (scenario.agree) {
            scenario.agree(pair);
            ASSERT_EQ(pair.sync().result, kPassSucceeded);
        }
        scenario.edit(pair);
        const std::set<std::string> before = everythingKept(pair);

        const bool ended = syncKilledAt(pair.settings(), operation);
        for (const std::string& content : before)
            EXPECT_TRUE(everythingKept(pair).contains(content)) << content;
        const PassReport report = pair.sync();
        EXPECT_EQ(report.result, kPassSucceeded) << report.reason;
        EXPECT_TRUE(report.conflicts.empty()) << report.conflicts[0].path << ' ' << report.conflicts[0].kind;
        EXPECT_TRUE(report.errors.empty()) << report.errors[0].path << ' ' << report.errors[0].message;
        EXPECT_EQ(differences(treeOf(pair.local()), treeOf(pair.network())), "");
        if (fs::exists(pair.local() / "read-only")) {
            EXPECT_EQ(static_cast<int>(fs::status(pair.local() / "read-only").permissions()), 0555);
        }
        std::set<std::string> trash;
        for (const auto& home : {pair.local(), pair.network()}) {
            for (const std::string& content : trashContents(home))
                trash.insert(content);
            expectStagingEmpty(home);
        }
        EXPECT_EQ(trash, scenario.trash);
        EXPECT_EQ(writesOf(pair.sync()), 0U);
        if (ended) return;
    }
}

TEST(Crash, KilledBeforeEveryChangeOfADisk)
{
    for (const auto& scenario : kScenarios)
        killEverywhere(scenario);
}

TEST(Crash, TheSameOnAFileSystemThatCannotExchange)
{
    gExchangeError = EINVAL;
    for (const auto& scenario : kScenarios)
        killEverywhere(scenario);
    gExchangeError = 0;
}

std::uint64_t testSeed()
{
    const char* fixed = std::getenv("BRAID_SEED");
    return fixed ? std::strtoull(fixed, nullptr, 10) : std::random_device{}();
}

/// People at work on both homes. Every content is unique, so that none can stand in for another.
class People
{
public:
    explicit People(std::uint64_t seed) : mRandom(seed) {}

    std::size_t below(std::size_t bound) { return mRandom() % bound; }

    void work(const HomePair& pair)
    {
        const std::size_t count = 1 + below(8);
        for (std::size_t i = 0; i < count; ++i)
            edit(below(2) == 0 ? pair.local() : pair.network());
    }

private:
    /// A few names, so that both sides meet at the same ones, sometimes as a file and sometimes as a folder.
    std::string name()
    {
        constexpr const char* kNames[] = {"a", "b", "c\xff", "a-b"};
        return kNames[below(std::size(kNames))];
    }
    std::string path()
    {
        std::string path = name();
        for (std::size_t depth = below(3); depth > 0; --depth)
            path += "/" + name();
        return path;
    }
    std::string content()
    {
        // Often of equal size, so that only reading tells them apart.
        return "content " + std::to_string(1'000'000 + ++mSerial) + (below(4) == 0 ? std::string(below(50), 'x') : "");
    }

    void edit(const fs::path& home)
    {
        const fs::path item = home / path();
        std::error_code error;
        const auto status = fs::symlink_status(item, error);
        switch (below(9)) {
        case 0:
            fs::remove_all(item, error);
            return;
        case 1:
            if (fs::exists(status)) fs::rename(item, home / path(), error);
            return;
        case 2:
            fs::create_directories(item, error);
            return;
        case 3:
            if (!fs::exists(status)) fs::create_symlink("target " + std::to_string(++mSerial), item, error);
            return;
        case 4:
            if (fs::is_regular_file(status)) ::chmod(item.c_str(), below(2) == 0 ? 0600 : 0644);
            return;
        case 5:
            if (fs::is_regular_file(status))
                setTime(item, 1'500'000'000'000'000'000 + static_cast<std::int64_t>(++mSerial));
            return;
        default:
            if (fs::is_directory(status) || fs::is_symlink(status)) return;
            fs::create_directories(item.parent_path(), error);
            if (!error) write(item, content(), below(2) == 0);
        }
    }

    std::mt19937_64 mRandom;
    std::uint64_t mSerial = 0;
};

void nothingIsLostOrLeftToDo(HomePair& pair, const PassSettings& settings, const std::set<std::string>& written)
{
    const std::set<std::string> kept = everythingKept(pair);
    for (const std::string& content : written)
        ASSERT_TRUE(kept.contains(content)) << content;
    ASSERT_EQ(writesOf(runPass(settings, {})), 0U);
}

TEST(Model, AnyEditsConvergeAndLoseNothing)
{
    const std::uint64_t seed = testSeed();
    SCOPED_TRACE("replay with BRAID_SEED=" + std::to_string(seed));
    std::cout << "BRAID_SEED=" << seed << "\n";
    People people{seed};
    for (int history = 0; history < 12; ++history) {
        HomePair pair;
        for (int round = 0; round < 8; ++round) {
            SCOPED_TRACE("history " + std::to_string(history) + " round " + std::to_string(round));
            people.work(pair);
            const std::set<std::string> before = everythingKept(pair);
            if (people.below(2) == 0) syncKilledAt(pair.settings(), static_cast<long>(1 + people.below(60)));
            // Edits after the kill may delete on purpose; without them, what was there before it counts.
            const bool worksAgain = people.below(3) == 0;
            if (worksAgain) people.work(pair);

            const std::set<std::string> written = worksAgain ? everythingKept(pair) : before;
            PassSettings settings = pair.settings();
            settings.allowMassDeletion = true;
            settings.jobs[0].options.resolveConflictsInFavorOf = people.below(2) == 0 ? Peer::Local : Peer::Network;
            const std::string apart = differences(treeOf(pair.local()), treeOf(pair.network()));
            const PassReport report = runPass(settings, {});
            SCOPED_TRACE("differed before the pass (local | network):\n" + apart);
            ASSERT_EQ(report.result, kPassSucceeded) << report.reason;
            ASSERT_TRUE(report.conflicts.empty()) << report.conflicts[0].path << ' ' << report.conflicts[0].kind;
            ASSERT_TRUE(report.errors.empty()) << report.errors[0].path << ' ' << report.errors[0].message;
            ASSERT_EQ(differences(treeOf(pair.local()), treeOf(pair.network())), "");
            ASSERT_NO_FATAL_FAILURE(nothingIsLostOrLeftToDo(pair, settings, written));
        }
    }
}

TEST(Model, WithoutResolutionOnlyConflictsStayApart)
{
    const std::uint64_t seed = testSeed();
    SCOPED_TRACE("replay with BRAID_SEED=" + std::to_string(seed));
    std::cout << "BRAID_SEED=" << seed << "\n";
    People people{seed};
    for (int history = 0; history < 12; ++history) {
        HomePair pair;
        for (int round = 0; round < 6; ++round) {
            SCOPED_TRACE("history " + std::to_string(history) + " round " + std::to_string(round));
            people.work(pair);
            const std::set<std::string> written = everythingKept(pair);
            if (people.below(2) == 0) syncKilledAt(pair.settings(), static_cast<long>(1 + people.below(60)));
            PassSettings settings = pair.settings();
            settings.allowMassDeletion = true;
            const PassReport report = runPass(settings, {});
            ASSERT_TRUE(report.errors.empty()) << report.errors[0].path << ' ' << report.errors[0].message;
            Tree local = treeOf(pair.local(), false);
            Tree network = treeOf(pair.network(), false);
            for (const Conflict& conflict : report.conflicts) {
                const auto isPart = [&](const auto& item) {
                    return item.first == conflict.path || item.first.starts_with(conflict.path + "/");
                };
                std::erase_if(local, isPart);
                std::erase_if(network, isPart);
            }
            ASSERT_EQ(differences(local, network), "");
            ASSERT_NO_FATAL_FAILURE(nothingIsLostOrLeftToDo(pair, settings, written));
        }
    }
}

} // namespace
} // namespace braid
