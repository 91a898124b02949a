#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <fstream>

#include "home_pair.h"

namespace braid
{
namespace
{

namespace fs = std::filesystem;

/// Passes until nothing is left, then expects both homes alike and a further pass that writes nothing.
void expectInStep(const HomePair& pair)
{
    EXPECT_EQ(differences(treeOf(pair.local()), treeOf(pair.network())), "");
    const auto local = footprintOf(pair.local());
    const PassReport again = pair.sync();
    EXPECT_EQ(again.result, kPassSucceeded) << again.reason;
    EXPECT_EQ(writesOf(again), 0U);
    EXPECT_TRUE(again.conflicts.empty());
    EXPECT_TRUE(again.errors.empty()) << again.errors[0].path << again.errors[0].message;
    EXPECT_EQ(differences(treeOf(pair.local()), treeOf(pair.network())), "");
}

std::array<std::uint64_t, 5> countsOf(const Counts& c)
{
    return {c.created, c.updated, c.deleted, c.renamed, c.bytes};
}

void fill(const fs::path& home)
{
    write(home / "plain", "text");
    write(home / "empty", "");
    write(home / "deep/er/and/deeper", "bottom");
    write(home / "big", std::string(5 << 20, 'x'));
    fs::create_directory(home / "empty folder");
    write(home / "a\xff\n b", "any bytes");
    write(home / std::string(255, 'n'), "longest name");
    write(home / "private", "secret");
    ::chmod((home / "private").c_str(), 0600);
    write(home / "program", "#!");
    ::chmod((home / "program").c_str(), 04755);
    setAttribute(home / "plain", "user.note", "kept");
    setAttribute(home / "deep", "user.colour", "red");
    makeLink(home / "link", "deep/er");
    makeLink(home / "dangling", "/nowhere/\xff");
    setTime(home / "deep/er", 1'234'567'890'987'654'321);
    setTime(home / "link", 1'111'111'111'111'111'111);
    ::chmod((home / "empty folder").c_str(), 0700);
}

TEST(Sync, FirstSyncCopiesEverythingWithItsAttributes)
{
    HomePair pair;
    fill(pair.local());
    write(pair.network() / "only there/file", "from the server");
    const Tree before = treeOf(pair.local());
    const PassReport report = pair.sync();
    ASSERT_EQ(report.result, kPassSucceeded) << report.reason;
    EXPECT_TRUE(report.errors.empty()) << report.errors[0].message;
    EXPECT_TRUE(report.conflicts.empty());
    for (const auto& [path, item] : before)
        EXPECT_EQ(treeOf(pair.network())[path], item) << path;
    expectInStep(pair);
}

TEST(Sync, FirstSyncOfEqualHomesCopiesNothing)
{
    HomePair pair;
    fill(pair.local());
    fs::copy(pair.local(), pair.network(), fs::copy_options::recursive | fs::copy_options::copy_symlinks);
    const PassReport report = pair.sync();
    EXPECT_TRUE(report.conflicts.empty());
    EXPECT_EQ(report.counts.bytes, 0U);
    EXPECT_EQ(report.counts.created, 0U);
    expectInStep(pair);
}

struct Edit {
    const char* name;
    std::function<void(const fs::path& home)> make;
    Counts expected;
};

// That each travels at all is shown by random histories; here it is what it costs.
const Edit kEdits[] = {
    {"modify to the same size", [](const fs::path& home) { write(home / "plain", "TEXT", true); }, {0, 1, 0, 0, 4}},
    {"touch", [](const fs::path& home) { setTime(home / "plain", 1'500'000'000'000'000'001); }, {0, 1, 0, 0, 0}},
    {"attribute", [](const fs::path& home) { setAttribute(home / "plain", "user.note", "new"); }, {0, 1, 0, 0, 0}},
    {"folder mode", [](const fs::path& home) { ::chmod((home / "deep").c_str(), 0711); }, {0, 1, 0, 0, 0}},
    {"delete a folder", [](const fs::path& home) { fs::remove_all(home / "deep"); }, {0, 0, 4, 0, 0}},
    {"delete a link, not what it leads to", [](const fs::path& home) { fs::remove(home / "link"); }, {0, 0, 1, 0, 0}},
    {"rename a file", [](const fs::path& home) { fs::rename(home / "plain", home / "plainer"); }, {0, 0, 0, 1, 0}},
    {"rename a folder", [](const fs::path& home) { fs::rename(home / "deep", home / "shallow"); }, {3, 0, 3, 1, 0}},
    {"grow a large file",
     [](const fs::path& home) {
         std::ofstream{home / "big", std::ios::app} << "more";
     },
     {0, 1, 0, 0, (5 << 20) + 4}},
};

TEST(Sync, EditsTravelBothWays)
{
    for (const Peer where : {Peer::Local, Peer::Network}) {
        for (const auto& edit : kEdits) {
            SCOPED_TRACE(std::string{edit.name} + (where == Peer::Local ? " here" : " there"));
            HomePair pair;
            fill(pair.local());
            ASSERT_EQ(pair.sync().result, kPassSucceeded);
            const fs::path& home = where == Peer::Local ? pair.local() : pair.network();
            edit.make(home);
            const Tree wanted = treeOf(home, false);

            const PassReport report = pair.sync();
            EXPECT_EQ(report.result, kPassSucceeded) << report.reason;
            EXPECT_TRUE(report.errors.empty()) << report.errors[0].message;
            EXPECT_EQ(differences(treeOf(home, false), wanted), "") << "the edited side must stay as it is";
            EXPECT_EQ(countsOf(report.counts), countsOf(edit.expected));
            expectInStep(pair);
        }
    }
}

TEST(Sync, AnEditHereTakesAttributesFromThereAlong)
{
    HomePair pair;
    write(pair.local() / "file", "old");
    pair.sync();
    write(pair.local() / "file", "new");
    fs::permissions(pair.network() / "file", fs::perms{0700});
    setAttribute(pair.network() / "file", "user.note", "there");
    EXPECT_EQ(pair.sync().counts.updated, 1U);
    const std::string item = treeOf(pair.local()).at("file");
    for (const char* part : {"mode 700", "user.note=there", "new"})
        EXPECT_NE(item.find(part), std::string::npos) << item;
    EXPECT_EQ(treeOf(pair.local()), treeOf(pair.network()));
    EXPECT_EQ(writesOf(pair.sync()), 0U);
}

TEST(Sync, ALargeFileSavedTwiceInARowIsNoConflict)
{
    HomePair pair;
    for (const std::size_t size : {std::size_t{5} << 20, std::size_t{6} << 20}) {
        write(pair.local() / "big", std::string(size, 'b'), true);
        EXPECT_TRUE(pair.sync().conflicts.empty());
        EXPECT_EQ(fs::file_size(pair.network() / "big"), size);
    }
}

TEST(Sync, OwnNamesAndSpecialItemsStayWhereTheyAre)
{
    HomePair pair;
    write(pair.local() / ".vexlc", "lock");
    write(pair.local() / "sub/.fstemp123", "temporary");
    for (const char* ordinary : {".Braid2", "\016braid"})
        write(pair.network() / ordinary, "an ordinary name");
    ASSERT_EQ(::mkfifo((pair.local() / "pipe").c_str(), 0600), 0);
    const PassReport report = pair.sync();
    EXPECT_EQ(report.skipped, std::vector<std::string>{"pipe"});
    EXPECT_TRUE(report.errors.empty());
    EXPECT_FALSE(fs::exists(pair.network() / ".vexlc"));
    EXPECT_FALSE(fs::exists(pair.network() / "sub/.fstemp123"));
    EXPECT_TRUE(fs::exists(pair.network() / "sub"));
    EXPECT_TRUE(fs::exists(pair.local() / ".Braid2") && fs::exists(pair.local() / "\016braid"));
}

TEST(Sync, ADryRunSaysWhatWouldBeDoneAndWritesNothing)
{
    HomePair pair;
    fill(pair.local());
    PassSettings dry = pair.settings();
    dry.dryRun = true;
    const auto check = [&](const char* when) {
        SCOPED_TRACE(when);
        const Tree local = footprintOf(pair.local());
        const Tree network = footprintOf(pair.network());
        const PassReport said = runPass(dry, {});
        EXPECT_EQ(said.result, kPassSucceeded) << said.reason;
        EXPECT_EQ(differences(footprintOf(pair.local()), local), "");
        EXPECT_EQ(differences(footprintOf(pair.network()), network), "");
        const PassReport done = pair.sync();
        EXPECT_EQ(countsOf(said.counts), countsOf(done.counts));
        EXPECT_EQ(said.conflicts.size(), done.conflicts.size());
    };
    check("before the first pass");
    write(pair.local() / "plain", "edit here");
    write(pair.network() / "empty", "edit there");
    fs::remove_all(pair.network() / "deep");
    fs::rename(pair.local() / "private", pair.local() / "more private");
    write(pair.local() / "both", "1");
    write(pair.network() / "both", "22");
    check("after edits");
}

TEST(Sync, ProgressAndAStopInTheMiddle)
{
    HomePair pair;
    for (int i = 0; i < 60; ++i)
        write(pair.local() / "files" / std::to_string(i), std::string(1 << 20, 'a'));
    std::stop_source stop;
    PassSettings settings = pair.settings();
    std::vector<Progress> seen;
    settings.onProgress = [&](const Progress& progress) {
        seen.push_back(progress);
        if (progress.state == PassState::Processing) stop.request_stop();
    };
    const PassReport report = runPass(settings, stop.get_token());
    EXPECT_EQ(report.result, kPassAborted);
    EXPECT_EQ(seen.front().state, PassState::Starting);
    EXPECT_EQ(seen.back().state, PassState::Aborted);
    EXPECT_LT(treeOf(pair.network()).size(), 61U);

    seen.clear();
    settings.onProgress = [&](const Progress& progress) { seen.push_back(progress); };
    EXPECT_EQ(runPass(settings, {}).result, kPassSucceeded);
    EXPECT_EQ(seen.back().state, PassState::Finished);
    double percent = 0;
    for (const Progress& progress : seen) {
        if (!progress.percent) continue;
        EXPECT_GE(*progress.percent, percent);
        EXPECT_LE(*progress.percent, 100.0);
        EXPECT_EQ(progress.state, PassState::Processing);
        percent = *progress.percent;
    }
    expectInStep(pair);
}

TEST(Sync, OneEngineForALocalHome)
{
    HomePair pair;
    auto taken = EngineLock::take(pair.local());
    ASSERT_TRUE(std::holds_alternative<std::unique_ptr<EngineLock>>(taken));
    const auto second = EngineLock::take(pair.local());
    ASSERT_TRUE(std::holds_alternative<EngineLock::Holder>(second));
    EXPECT_EQ(std::get<EngineLock::Holder>(second).pid, ::getpid());
    EXPECT_EQ(pair.sync().result, EBUSY);

    auto& lock = std::get<std::unique_ptr<EngineLock>>(taken);
    EXPECT_EQ(runPass(pair.settings(), {}, lock.get()).result, kPassSucceeded);
    lock.reset();
    EXPECT_EQ(pair.sync().result, kPassSucceeded);
    EXPECT_TRUE(std::holds_alternative<std::string>(EngineLock::take(pair.top() / "missing")));
}

} // namespace
} // namespace braid
