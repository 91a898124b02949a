#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <atomic>
#include <csignal>

#include "braid/disk/seam.h"
#include "home_pair.h"

namespace braid
{
namespace
{

namespace fs = std::filesystem;

std::atomic<long> gLeft{0};

/// The process dies before its n-th operation that would change a disk.
int killAtCountdown(seam::Operation operation, const char*)
{
    if (seam::changesDisk(operation) && gLeft.fetch_sub(1) == 1) ::raise(SIGKILL);
    return 0;
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

} // namespace
} // namespace braid
