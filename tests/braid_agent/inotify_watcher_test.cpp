#include "braid/agent/inotify_watcher.h"

#include <gtest/gtest.h>

#include <condition_variable>
#include <mutex>

#include "tests/fakes/temp_root.h"

namespace
{

using braid::agent::HomeChanges;
using fakes::TempRoot;

TEST(InotifyWatcher, TellsOfWhatAJobCoversWhereverItComesUp)
{
    const TempRoot root;
    const auto home = root.real("/home");
    std::mutex mutex;
    std::condition_variable wake;
    std::set<std::string> seen;
    const auto note = [&](const HomeChanges& changes) {
        const std::scoped_lock lock(mutex);
        seen.insert(changes.paths.begin(), changes.paths.end());
        wake.notify_all();
    };
    braid::agent::InotifyWatcher watcher(home, [](const auto& task) { task(); });
    // Again and again, as a watch takes its moment to be set up.
    const auto isSeen = [&](const std::string& path) {
        std::unique_lock lock(mutex);
        for (int tries = 0; tries < 500 && !seen.contains(path); ++tries) {
            TempRoot::writeFile(home / path, "text");
            wake.wait_for(lock, std::chrono::milliseconds(20), [&] { return seen.contains(path); });
        }
        return seen.contains(path);
    };

    TempRoot::writeFile(home / "Documents/old/deep/a", "before");
    const auto rule = std::get<braid::MatchRule>(braid::MatchRule::make(braid::Comparison::NameEndsWith, ".tmp"));
    watcher.watch({braid::Job{{"Documents"}, {rule}, {}}}, note);
    EXPECT_TRUE(isSeen("Documents/old/deep/a"));
    for (const char* path : {".Braid/archive", "Documents/.fstemp1", "Documents/x.tmp", "Caches/c"})
        TempRoot::writeFile(home / path, "nobody's business");
    EXPECT_TRUE(isSeen("Documents/new/b"));
    std::filesystem::rename(home / "Documents/old", home / "Documents/moved");
    EXPECT_TRUE(isSeen("Documents/moved/deep/c"));

    watcher.watch({braid::Job{{"Caches"}, {}, {}}}, note);
    EXPECT_TRUE(isSeen("Caches/d"));
    watcher.stop();
    EXPECT_EQ(seen, (std::set<std::string>{"Documents/old", "Documents/old/deep/a", "Documents/new", "Documents/new/b",
                                           "Documents/moved", "Documents/moved/deep/c", "Caches/d"}));
}

} // namespace
