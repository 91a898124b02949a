#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <cstring>
#include <ctime>
#include <fstream>

#include "braid/disk/seam.h"
#include "braid/home/home.h"
#include "home_pair.h"

namespace braid
{
namespace
{

namespace fs = std::filesystem;

/// Enough items that losing most of them would be noticed.
void fill(const fs::path& home)
{
    for (int i = 0; i < 30; ++i)
        write(home / "files" / std::to_string(i), "content " + std::to_string(i));
    write(home / "folder/sub/file", "deep");
    write(home / "folder/whole", "untouched");
}

void clear(const fs::path& home, bool withMarker)
{
    for (const auto& item : fs::directory_iterator{home}) {
        if (withMarker || item.path().filename() != ".Braid") fs::remove_all(item.path());
    }
}

std::atomic<int> gErrno{0};
std::atomic<seam::Operation> gOperation{};
std::atomic<const char*> gName{nullptr};

int failOne(seam::Operation operation, const char* name)
{
    const bool isNamed = !gName.load() || std::strcmp(name, gName.load()) == 0;
    return operation == gOperation.load() && isNamed ? gErrno.load() : 0;
}

/// As long as it lives, this operation fails on items of this name (null: on all).
class Failing
{
public:
    Failing(seam::Operation operation, const char* name, int code)
    {
        gOperation = operation;
        gName = name;
        gErrno = code;
        seam::gWatcher = failOne;
    }
    ~Failing() { seam::gWatcher = nullptr; }
    Failing(const Failing&) = delete;
    Failing& operator=(const Failing&) = delete;
};

/// As long as it lives, the folder is hidden behind something that does not sync, as by a mount.
class Hiding
{
public:
    Hiding(const HomePair& pair, const char* folder) : mFolder(pair.local() / folder), mAside(pair.top() / "hidden")
    {
        fs::rename(mFolder, mAside);
        ::mkfifo(mFolder.c_str(), 0600);
    }
    ~Hiding()
    {
        fs::remove(mFolder);
        fs::rename(mAside, mFolder);
    }
    Hiding(const Hiding&) = delete;
    Hiding& operator=(const Hiding&) = delete;

private:
    fs::path mFolder;
    fs::path mAside;
};

struct DeletionCase {
    const char* name;
    std::function<void(const HomePair& pair)> disaster;
};

const DeletionCase kDisasters[] = {
    {"the share is an empty folder", [](const HomePair& pair) { clear(pair.network(), true); }},
    {"another home is mounted",
     [](const HomePair& pair) {
         HomePair other;
         write(other.local() / "other", "o");
         other.sync();
         clear(pair.network(), true);
         fs::copy(other.network(), pair.network(), fs::copy_options::recursive);
     }},
    {"the marker is gone",
     [](const HomePair& pair) {
         fs::remove_all(pair.network() / ".Braid");
         clear(pair.network(), true);
     }},
    {"the marker is empty",
     [](const HomePair& pair) {
         std::ofstream{pair.network() / ".Braid/replica"};
         fs::remove_all(pair.network() / "files");
     }},
    {"everything but the marker is gone", [](const HomePair& pair) { clear(pair.network(), false); }},
    {"most is gone", [](const HomePair& pair) { fs::remove_all(pair.network() / "files"); }},
    {"the local home was emptied", [](const HomePair& pair) { clear(pair.local(), true); }},
    {"the archive is damaged behind its first page",
     [](const HomePair& pair) {
         const fs::path file = pair.local() / ".Braid/archive.sqlite";
         const auto rest = static_cast<std::size_t>(fs::file_size(file)) - 4096;
         std::ofstream{file, std::ios::in | std::ios::out}.seekp(4096) << std::string(rest, '?');
         fs::remove(pair.network() / "files/1");
     }},
    {"a backup came back that is older than what a pass only read",
     [](const HomePair& pair) {
         const std::string marker = read(pair.network() / ".Braid/replica");
         write(pair.network() / "late", "written on the server");
         pair.sync();
         std::ofstream{pair.network() / ".Braid/replica"} << marker;
         fs::remove(pair.network() / "late");
     }},
    {"an older state came back from a backup",
     [](const HomePair& pair) {
         std::ofstream{pair.network() / ".Braid/replica.x"} << [&] {
             std::string text = read(pair.network() / ".Braid/replica");
             return text.substr(0, text.find("generation")) + "generation 0\n";
         }();
         fs::rename(pair.network() / ".Braid/replica.x", pair.network() / ".Braid/replica");
         fs::remove(pair.network() / "files/1");
     }},
    {"an older state came back from a backup, and another computer was the first to sync with it",
     [](const HomePair& pair) {
         const std::string other = pair.top() / "other";
         const auto syncOther = [&] {
             PassSettings settings = pair.settings();
             settings.localHome = other;
             runPass(settings, {});
         };
         fs::create_directory(other);
         syncOther();
         fs::copy(pair.network() / ".Braid", pair.top() / "backup", fs::copy_options::recursive);
         write(pair.local() / "files/late", "written since the backup");
         pair.sync();
         fs::remove(pair.network() / "files/late");
         fs::remove_all(pair.network() / ".Braid");
         fs::rename(pair.top() / "backup", pair.network() / ".Braid");
         write(fs::path{other} / "more", "written since it came back");
         syncOther();
     }},
    {"it was deleted while a rule left it out",
     [](const HomePair& pair) {
         Job job;
         job.exclusions.push_back(std::get<MatchRule>(MatchRule::make(Comparison::PathEquals, "files/1")));
         pair.sync({job});
         fs::remove(pair.local() / "files/1");
     }},
    {"it was deleted while a rule left it out, and its folder was hidden when it came back",
     [](const HomePair& pair) {
         Job job;
         job.exclusions.push_back(std::get<MatchRule>(MatchRule::make(Comparison::PathEquals, "files")));
         pair.sync({job});
         fs::remove(pair.local() / "files/1");
         const Hiding hiding{pair, "files"};
         pair.sync();
     }},
    {"a folder came back without what was hidden in it",
     [](const HomePair& pair) {
         fs::remove_all(pair.network() / "folder");
         write(pair.local() / "folder/whole", "edited");
         const Hiding hiding{pair, "folder/sub"};
         pair.syncResolving(Peer::Local);
     }},
    {"it was deleted while there were no jobs",
     [](const HomePair& pair) {
         PassSettings settings = pair.settings();
         settings.jobs.clear();
         runPass(settings, {});
         fs::remove(pair.local() / "files/1");
     }},
    {"a folder came back in part only",
     [](const HomePair& pair) {
         fs::remove_all(pair.local() / "folder");
         write(pair.network() / "folder/sub/file", "edited");
         const Failing failing{seam::Operation::OpenFile, "whole", EIO};
         EXPECT_EQ(pair.syncResolving(Peer::Network).errors.size(), 1U);
     }},
};

TEST(Safety, NothingIsDeletedWithoutProof)
{
    for (const auto& c : kDisasters) {
        SCOPED_TRACE(c.name);
        HomePair pair;
        fill(pair.local());
        pair.sync();
        pair.sync();
        c.disaster(pair);
        Tree left = treeOf(pair.local(), false);
        left.merge(treeOf(pair.network(), false));
        for (int pass = 0; pass < 2; ++pass) {
            const PassReport report = pair.sync();
            EXPECT_EQ(report.result, kPassSucceeded);
            EXPECT_EQ(report.counts.deleted, 0U);
            Tree now = treeOf(pair.local(), false);
            now.merge(treeOf(pair.network(), false));
            for (const auto& [path, item] : left)
                EXPECT_EQ(now[path], item) << path;
        }
    }
}

TEST(Safety, WhatSyncsAtLoginAloneDoesNotComeBackAfterPassesInTheBackground)
{
    const HomePair pair;
    fill(pair.local());
    pair.sync();
    pair.sync();
    Job withoutIt;
    withoutIt.exclusions.push_back(std::get<MatchRule>(MatchRule::make(Comparison::PathEquals, "files/1")));
    PassSettings background = pair.settings({withoutIt});
    background.occasion = Occasion::Background;
    for (const char* text : {"edited here", "and once more"}) {
        write(pair.local() / "files/1", text);
        runPass(background, {});
        EXPECT_TRUE(pair.sync().conflicts.empty());
        EXPECT_EQ(read(pair.network() / "files/1"), text);
    }
}

TEST(Safety, AMassDeletionIsAQuestionUntilAPersonAllowsIt)
{
    HomePair pair;
    fill(pair.local());
    pair.sync();
    fs::remove_all(pair.local() / "files");
    write(pair.local() / "other", "waits as well");
    const PassReport report = pair.sync();
    ASSERT_EQ(report.conflicts.size(), 1U);
    EXPECT_EQ(report.conflicts[0].kind, "mass-deletion");
    EXPECT_TRUE(fs::exists(pair.network() / "files/1"));
    EXPECT_EQ(writesOf(report), 0U);

    JobOptions favor;
    favor.resolveConflictsInFavorOf = Peer::Local;
    EXPECT_EQ(pair.sync({wholeHome(favor)}).counts.deleted, 0U) << "no option decides this on its own";

    PassSettings allowed = pair.settings();
    allowed.allowMassDeletion = true;
    EXPECT_EQ(runPass(allowed, {}).counts.deleted, 31U);
    EXPECT_EQ(trashContents(pair.network()).size(), 30U);
    EXPECT_TRUE(openMatters(pair.local()).conflicts.empty());
}

TEST(Safety, WhatCannotBeListedIsNotGone)
{
    for (const int code : {EACCES, EIO, ENOTCONN}) {
        HomePair pair;
        fill(pair.local());
        pair.sync();
        write(pair.local() / "files/new", "n");
        fs::remove(pair.network() / "folder/sub/file");
        {
            const Failing failing{seam::Operation::List, "sub", code};
            const PassReport report = pair.sync();
            EXPECT_EQ(report.counts.deleted, 0U);
            ASSERT_FALSE(report.errors.empty());
            EXPECT_EQ(report.errors[0].path, "folder/sub");
            EXPECT_FALSE(report.errors[0].message.empty());
            EXPECT_EQ(report.counts.created, 1U) << "the rest goes on";
        }
        EXPECT_EQ(openMatters(pair.local()).errors.size(), 1U);
        EXPECT_EQ(pair.sync().counts.deleted, 1U);
        EXPECT_TRUE(openMatters(pair.local()).errors.empty());
    }
}

TEST(Safety, OneFileThatTheServerDoesNotKnowAnyMoreKeepsNoOtherBack)
{
    HomePair pair;
    fill(pair.network());
    const Failing failing{seam::Operation::OpenFile, "1", ESTALE};
    const PassReport report = pair.sync();
    EXPECT_EQ(report.result, kPassSucceeded);
    ASSERT_EQ(report.errors.size(), 1U);
    EXPECT_EQ(report.errors[0].path, "files/1");
    EXPECT_TRUE(fs::exists(pair.local() / "folder/whole"));
}

std::function<void()> gMeddle;
std::atomic<int> gCountdown{0};

int meddle(seam::Operation operation, const char*)
{
    if (operation == gOperation.load() && gCountdown.fetch_sub(1) == 1) gMeddle();
    return 0;
}

TEST(Safety, WhatSomebodyChangesDuringThePassIsNeverOverwritten)
{
    // Just before the n-th operation of a kind, somebody saves one of the files on the side that is written to.
    for (const auto operation : {seam::Operation::Exchange, seam::Operation::Rename, seam::Operation::Stat,
                                 seam::Operation::Create, seam::Operation::Durable, seam::Operation::List}) {
        for (int at = 1; at <= 12; ++at) {
            SCOPED_TRACE("operation " + std::to_string(static_cast<int>(operation)) + " number " + std::to_string(at));
            HomePair pair;
            write(pair.local() / "edited", "old");
            write(pair.local() / "deleted", "old");
            pair.sync();
            write(pair.local() / "edited", "new from here");
            fs::remove(pair.local() / "deleted");
            write(pair.local() / "created", "created here");
            constexpr const char* kNames[] = {"edited", "deleted", "created"};
            gMeddle = [&] {
                for (const char* name : kNames) {
                    write(pair.network() / "saving", std::string{"mine: "} + name, true);
                    fs::rename(pair.network() / "saving", pair.network() / name);
                }
            };
            gOperation = operation;
            gCountdown = at;
            seam::gWatcher = meddle;
            pair.sync();
            seam::gWatcher = nullptr;
            if (gCountdown > 0) break; // the pass has fewer of these
            pair.sync();
            for (const char* name : kNames)
                EXPECT_EQ(read(pair.network() / name), std::string{"mine: "} + name) << "must stay under its name";
        }
    }
}

TEST(Safety, FoldersThatAreNoPairAreRefusedAndNothingIsMade)
{
    constexpr const char* kCases[][2] = {{"none", "network"},    {"local", "none"},
                                         {"local", "file"},      {"local", "local"},
                                         {"local", "alias"},     {"local", "network/../local"},
                                         {"local", "local/a/b"}, {"network/a/b", "network"}};
    HomePair pair;
    write(pair.local() / "a/b/file", "f");
    write(pair.network() / "a/b/file", "f");
    write(pair.top() / "file", "x");
    makeLink(pair.top() / "alias", "local");
    const Tree before = footprintOf(pair.top());
    for (const auto& [local, network] : kCases) {
        SCOPED_TRACE(std::string{local} + " with " + network);
        PassSettings settings = pair.settings();
        settings.localHome = pair.top() / local;
        settings.networkHome = pair.top() / network;
        const PassReport report = runPass(settings, {});
        EXPECT_EQ(report.result, kPassRefused);
        EXPECT_FALSE(report.reason.empty());
        EXPECT_EQ(differences(footprintOf(pair.top()), before), "");
    }
}

TEST(Safety, AHomeThatWasCopiedWholeGetsAnIdentityOfItsOwn)
{
    HomePair pair;
    fill(pair.local());
    pair.sync();
    fs::copy(pair.local() / ".Braid/replica", pair.network() / ".Braid/replica", fs::copy_options::overwrite_existing);
    fs::remove(pair.network() / "files/1");
    EXPECT_EQ(pair.sync().counts.deleted, 0U);
    EXPECT_TRUE(fs::exists(pair.network() / "files/1"));
    EXPECT_NE(read(pair.local() / ".Braid/replica"), read(pair.network() / ".Braid/replica"));
}

TEST(Safety, TheTrashIsKeptForThirtyDaysAndDisturbsNobody)
{
    HomePair pair;
    fill(pair.local());
    pair.sync();
    const fs::path trash = pair.local() / ".Braid/trash";
    write(trash / "20200101T000000Z-1-1/folder/old", "too old");
    write(trash / "29990101T000000Z-1-1/folder/recent", "kept");
    write(trash / "put here by a person", "kept, too");
    pair.sync();
    EXPECT_EQ(trashContents(pair.local()), (std::vector<std::string>{"kept", "kept, too"}));

    // More than the trash may hold, at once, stays until the next versions come.
    const fs::path huge = trash / "29990201T000000Z-1-1/huge";
    write(huge, "");
    fs::resize_file(huge, std::uintmax_t{1} << 36);
    pair.sync();
    EXPECT_TRUE(fs::exists(huge));
    write(trash / "29990301T000000Z-1-1/next", "");
    pair.sync();
    EXPECT_FALSE(fs::exists(huge));

    // The clock said so a year ago, or was set forward since: nobody knows that more than a month went by.
    const std::time_t aYearAgo = std::time(nullptr) - std::time_t{365} * 24 * 3600;
    std::array<char, 64> name{};
    std::strftime(name.data(), name.size(), "%Y%m%dT%H%M%SZ-1-1", std::gmtime(&aYearAgo));
    write(trash / name.data() / "folder/old", "kept as well");
    write(pair.local() / ".Braid/trash-clock", std::to_string(aYearAgo) + " 0 x");
    for (int pass = 0; pass < 2; ++pass)
        pair.sync();
    EXPECT_TRUE(fs::exists(trash / name.data() / "folder/old"));
}

TEST(Safety, AnArchiveThatIsALinkIsNotFollowed)
{
    HomePair pair;
    fill(pair.local());
    pair.sync();
    const fs::path archive = pair.local() / ".Braid/archive.sqlite";
    fs::rename(archive, pair.top() / "elsewhere");
    makeLink(archive, "../../elsewhere");
    const auto before = read(pair.top() / "elsewhere");
    write(pair.local() / "new", "n");
    EXPECT_EQ(pair.sync().result, kPassSucceeded);
    EXPECT_EQ(read(pair.top() / "elsewhere"), before);
    EXPECT_TRUE(fs::is_regular_file(fs::symlink_status(archive)));
    EXPECT_EQ(treeOf(pair.local()), treeOf(pair.network()));
}

TEST(Safety, ComputersThatMeetAFreshNetworkHomeAtOnceAgreeOnWhoItIs)
{
    HomePair pair;
    const auto one = Home::open(Peer::Network, pair.network());
    const auto other = Home::open(Peer::Network, pair.network());
    ASSERT_TRUE(one && other);
    EXPECT_FALSE((*one)->prepare("1"));
    EXPECT_FALSE((*other)->prepare("2"));
    EXPECT_EQ((*one)->marker()->id, (*other)->marker()->id);
    EXPECT_FALSE((*one)->countUpGeneration());
    EXPECT_FALSE((*other)->countUpGeneration());
    EXPECT_EQ((*other)->marker()->generation, 2U);
}

TEST(Safety, EveryVersionOfAFileIsKeptBesideTheOthers)
{
    HomePair pair;
    write(pair.local() / "file", "version 1");
    pair.sync();
    std::vector<std::string> replaced;
    for (int version = 2; version < 5; ++version) {
        replaced.push_back("version " + std::to_string(version - 1));
        write(pair.local() / "file", "version " + std::to_string(version));
        pair.sync();
    }
    EXPECT_EQ(trashContents(pair.network()), replaced);
}

TEST(Safety, PathsLongerThanTheKernelTakesAtOnce)
{
    HomePair pair;
    const int top = ::open(pair.local().c_str(), O_RDONLY | O_DIRECTORY);
    int at = top;
    const std::string name(200, 'd');
    for (int depth = 0; depth < 30; ++depth) {
        ASSERT_EQ(::mkdirat(at, name.c_str(), 0755), 0);
        at = ::openat(at, name.c_str(), O_RDONLY | O_DIRECTORY);
        ASSERT_GE(at, 0);
    }
    const int file = ::openat(at, "bottom", O_CREAT | O_WRONLY, 0644);
    ASSERT_EQ(::write(file, "deep", 4), 4);
    ::close(file);
    const PassReport report = pair.sync();
    EXPECT_EQ(report.counts.created, 31U);
    EXPECT_TRUE(report.errors.empty());
    EXPECT_EQ(writesOf(pair.sync()), 0U);
    ::unlinkat(at, "bottom", 0);
    EXPECT_EQ(pair.sync().counts.deleted, 1U);
}

} // namespace
} // namespace braid
