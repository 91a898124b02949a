#include <gtest/gtest.h>
#include <sys/stat.h>

#include "home_pair.h"

namespace braid
{
namespace
{

namespace fs = std::filesystem;

/// A new content for a file, none for what is removed; what is in the way goes first.
struct Change {
    const char* path;
    const char* content;
};

struct ConflictCase {
    Change here;
    Change there;
    const char* path;
    const char* kind;
    std::vector<std::string> losersWhenLocalWins;   ///< Contents in the network home's trash.
    std::vector<std::string> losersWhenNetworkWins; ///< Contents in the local home's trash.
};

const ConflictCase kConflicts[] = {
    {{"file", "here"}, {"file", "there!"}, "file", "modify/modify", {"there!"}, {"here"}},
    {{"file", "aaaa"}, {"file", "bbbb"}, "file", "modify/modify", {"bbbb"}, {"aaaa"}},
    {{"file", "here"}, {"file", nullptr}, "file", "modify/delete", {}, {"here"}},
    {{"sub/new", "1"}, {"sub/new", "2"}, "sub/new", "create/create", {"2"}, {"1"}},
    {{"new", "flat"}, {"new/inside", "deep"}, "new", "type/type", {"deep"}, {"flat"}},
    {{"folder", nullptr}, {"folder/a", "edited"}, "folder", "delete-folder/edit-inside", {"b", "edited"}, {}},
    {{"folder", nullptr}, {"folder/sub/new", "+"}, "folder", "delete-folder/edit-inside", {"+", "a", "b"}, {}},
    {{"folder", "flat"}, {"folder/a", "edited"}, "folder", "type/type", {"b", "edited"}, {"flat"}},
};

std::string nameOf(const ConflictCase& c)
{
    return std::string{c.here.path} + " here, " + c.there.path + " there: " + c.kind;
}

void carryOut(const Change& change, const fs::path& home)
{
    fs::remove_all(home / change.path);
    if (change.content) write(home / change.path, change.content);
}

void prepare(const HomePair& pair, const ConflictCase& c)
{
    write(pair.local() / "file", "base");
    write(pair.local() / "folder/a", "a");
    write(pair.local() / "folder/sub/b", "b");
    ASSERT_EQ(pair.sync().result, kPassSucceeded);
    carryOut(c.here, pair.local());
    carryOut(c.there, pair.network());
}

TEST(Conflicts, AreRecordedAndLeaveBothSidesUntouched)
{
    for (const auto& c : kConflicts) {
        SCOPED_TRACE(nameOf(c));
        HomePair pair;
        prepare(pair, c);
        const Tree local = treeOf(pair.local(), false);
        const Tree network = treeOf(pair.network(), false);
        for (int pass = 0; pass < 2; ++pass) {
            const PassReport report = pair.sync();
            EXPECT_EQ(report.result, kPassSucceeded);
            EXPECT_EQ(writesOf(report), 0U);
            ASSERT_EQ(report.conflicts.size(), 1U);
            EXPECT_EQ(report.conflicts[0].path, c.path);
            EXPECT_EQ(report.conflicts[0].kind, c.kind);
            EXPECT_EQ(differences(treeOf(pair.local(), false), local), "");
            EXPECT_EQ(differences(treeOf(pair.network(), false), network), "");
            ASSERT_EQ(openMatters(pair.local()).conflicts.size(), 1U);
            EXPECT_EQ(openMatters(pair.local()).conflicts[0].kind, c.kind);
        }
    }
}

TEST(Conflicts, AreToldOnceBeforeAnythingIsChanged)
{
    HomePair pair;
    prepare(pair, kConflicts[0]);
    write(pair.local() / "other", "new");
    int calls = 0;
    PassSettings settings = pair.settings();
    settings.onMatters = [&](const OpenMatters& fresh) {
        ++calls;
        EXPECT_FALSE(std::filesystem::exists(pair.network() / "other"));
        ASSERT_EQ(fresh.conflicts.size(), 1U);
        EXPECT_EQ(fresh.conflicts[0].kind, kConflicts[0].kind);
        EXPECT_NE(fresh.conflicts[0].local.mtime, 0);
    };
    EXPECT_EQ(runPass(settings, {}).conflicts.size(), 1U);
    EXPECT_EQ(calls, 1);
    EXPECT_TRUE(std::filesystem::exists(pair.network() / "other"));
}

TEST(Conflicts, AreResolvedInFavorOfAPeerAndTheLoserIsInTheTrash)
{
    for (const auto& c : kConflicts) {
        for (const Peer winner : {Peer::Local, Peer::Network}) {
            SCOPED_TRACE(nameOf(c) + (winner == Peer::Local ? ": local wins" : ": network wins"));
            HomePair pair;
            prepare(pair, c);
            pair.sync(); // recorded first, decided anew later
            const fs::path& winning = winner == Peer::Local ? pair.local() : pair.network();
            const fs::path& losing = winner == Peer::Local ? pair.network() : pair.local();
            const Tree wanted = treeOf(winning, false);

            const PassReport report = pair.syncResolving(winner);
            EXPECT_EQ(report.result, kPassSucceeded);
            EXPECT_TRUE(report.conflicts.empty());
            EXPECT_TRUE(report.errors.empty()) << report.errors[0].path << report.errors[0].message;
            EXPECT_EQ(differences(treeOf(winning, false), wanted), "");
            EXPECT_EQ(differences(treeOf(losing, false), wanted), "");
            EXPECT_EQ(trashContents(losing), winner == Peer::Local ? c.losersWhenLocalWins : c.losersWhenNetworkWins);
            EXPECT_TRUE(trashContents(winning).empty());
            EXPECT_TRUE(openMatters(pair.local()).conflicts.empty());
            EXPECT_EQ(writesOf(pair.sync()), 0U);
        }
    }
}

TEST(ReadOnlyPeer, ItsMarkerIsWrittenAllTheSame)
{
    HomePair pair;
    write(pair.network() / "file", "f");
    ASSERT_EQ(pair.sync({wholeHome(copyFrom(Peer::Network))}).counts.created, 1U);
    EXPECT_TRUE(fs::exists(pair.network() / ".Braid/replica"));
    // Known from now on: a deletion here goes out in the next pass that may write there.
    fs::remove(pair.local() / "file");
    EXPECT_EQ(pair.sync().counts.deleted, 1U);
    EXPECT_FALSE(fs::exists(pair.network() / "file"));
}

TEST(ReadOnlyPeer, AFolderThatItKeepsOutLetsOtherJobsThrough)
{
    HomePair pair;
    write(pair.local() / "folder/mine/file", "1");
    write(pair.local() / "folder/file", "1");
    Job mine;
    mine.inclusions = {"folder/mine"};
    const auto sync = [&] { EXPECT_EQ(pair.sync({mine, wholeHome(copyFrom(Peer::Network))}).errors.size(), 0U); };
    sync();
    EXPECT_TRUE(fs::exists(pair.network() / "folder/mine/file"));
    EXPECT_FALSE(fs::exists(pair.network() / "folder/file"));
    pair.sync();
    fs::remove_all(pair.local() / "folder");
    sync();
    EXPECT_FALSE(fs::exists(pair.network() / "folder/mine"));
    EXPECT_TRUE(fs::exists(pair.network() / "folder/file"));
}

TEST(ReadOnlyPeer, WhatTravelsIsAgreedOnThoughTheRestWaits)
{
    for (const char* name : {"file", "folder"}) {
        SCOPED_TRACE(name);
        HomePair pair;
        write(pair.local() / "file", "f");
        write(pair.local() / "folder/inside", "i");
        pair.sync();
        const auto sync = [&] { return writesOf(pair.sync({wholeHome(copyFrom(Peer::Network))})); };
        fs::permissions(pair.local() / name, fs::perms::owner_all);
        const auto kept = fs::status(pair.network() / name).permissions();
        setAttribute(pair.network() / name, "user.a", "1");
        EXPECT_EQ(sync(), 1U);
        EXPECT_EQ(sync(), 0U);
        EXPECT_EQ(fs::status(pair.network() / name).permissions(), kept);
        setAttribute(pair.network() / name, "user.a", "2");
        EXPECT_EQ(sync(), 1U); // nobody set the first one here
        EXPECT_EQ(writesOf(pair.sync()), 1U);
        EXPECT_EQ(fs::status(pair.network() / name).permissions(), fs::perms::owner_all);
        EXPECT_EQ(differences(treeOf(pair.local()), treeOf(pair.network())), "");
    }
}

TEST(AbortOptions, TheJobEndsBeforeItsFirstWriteAndOthersRun)
{
    HomePair pair;
    write(pair.local() / "first/file", "1");
    write(pair.local() / "second/file", "1");
    pair.sync();
    write(pair.local() / "first/a new one", "would go out"); // sorts before the one that ends the job
    write(pair.network() / "first/file", "22");
    write(pair.network() / "second/file", "22");
    Job first;
    first.inclusions = {"first"};
    first.options = copyOrEnd(Peer::Local);
    Job second;
    second.inclusions = {"second"};
    const PassReport report = pair.sync({first, second});
    EXPECT_EQ(report.result, kPassSucceeded);
    ASSERT_EQ(report.jobStatus.size(), 2U);
    EXPECT_EQ(report.jobStatus[0].name, "AttemptToWriteToReadOnlyPeerException");
    EXPECT_FALSE(report.jobStatus[0].reason.empty());
    EXPECT_EQ(report.jobStatus[1].name, "");
    EXPECT_FALSE(fs::exists(pair.network() / "first/a new one"));
    EXPECT_EQ(read(pair.local() / "first/file"), "1");
    EXPECT_EQ(read(pair.local() / "second/file"), "22");
}

TEST(AbortOptions, ATimeThatOnlyAFolderCarriesEndsNothing)
{
    HomePair pair;
    write(pair.local() / "folder/file", "1");
    pair.sync();
    setTime(pair.network() / "folder", 1'700'000'000'000'000'000);
    const PassReport report = pair.sync({wholeHome(copyOrEnd(Peer::Local))});
    EXPECT_EQ(report.jobStatus[0].name, "");
}

} // namespace
} // namespace braid
