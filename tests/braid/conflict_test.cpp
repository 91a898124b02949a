#include <gtest/gtest.h>
#include <sys/stat.h>

#include "home_pair.h"

namespace braid
{
namespace
{

namespace fs = std::filesystem;

using Change = std::function<void(const fs::path& home)>;

struct ConflictCase {
    const char* name;
    Change here;
    Change there;
    const char* path;
    const char* kind;
    std::vector<std::string> losersWhenLocalWins;   ///< Contents in the network home's trash.
    std::vector<std::string> losersWhenNetworkWins; ///< Contents in the local home's trash.
};

void writeFile(const fs::path& home, const char* content)
{
    write(home / "file", content);
}
void removeFolder(const fs::path& home)
{
    fs::remove_all(home / "folder");
}

const ConflictCase kConflicts[] = {
    {"both edited",
     [](const fs::path& h) { writeFile(h, "here"); },
     [](const fs::path& h) { writeFile(h, "there!"); },
     "file",
     "modify/modify",
     {"there!"},
     {"here"}},
    {"edited to the same size",
     [](const fs::path& h) { writeFile(h, "aaaa"); },
     [](const fs::path& h) { writeFile(h, "bbbb"); },
     "file",
     "modify/modify",
     {"bbbb"},
     {"aaaa"}},
    {"edited here, deleted there",
     [](const fs::path& h) { writeFile(h, "here"); },
     [](const fs::path& h) { fs::remove(h / "file"); },
     "file",
     "modify/delete",
     {},
     {"here"}},
    {"two new files",
     [](const fs::path& h) { write(h / "sub/new", "1"); },
     [](const fs::path& h) { write(h / "sub/new", "2"); },
     "sub/new",
     "create/create",
     {"2"},
     {"1"}},
    {"a file here, a folder there",
     [](const fs::path& h) { write(h / "new", "flat"); },
     [](const fs::path& h) { write(h / "new/inside", "deep"); },
     "new",
     "type/type",
     {"deep"},
     {"flat"}},
    {"folder deleted here, edited inside there",
     removeFolder,
     [](const fs::path& h) { write(h / "folder/a", "edited"); },
     "folder",
     "delete-folder/edit-inside",
     {"b", "edited"},
     {}},
    {"folder deleted here, a file added deep inside there",
     removeFolder,
     [](const fs::path& h) { write(h / "folder/sub/new", "added"); },
     "folder",
     "delete-folder/edit-inside",
     {"a", "added", "b"},
     {}},
    {"folder turned into a file here, edited inside there",
     [](const fs::path& h) {
         removeFolder(h);
         write(h / "folder", "flat");
     },
     [](const fs::path& h) { write(h / "folder/a", "edited"); },
     "folder",
     "type/type",
     {"b", "edited"},
     {"flat"}},
};

void prepare(const HomePair& pair, const ConflictCase& c)
{
    write(pair.local() / "file", "base");
    write(pair.local() / "folder/a", "a");
    write(pair.local() / "folder/sub/b", "b");
    ASSERT_EQ(pair.sync().result, kPassSucceeded);
    c.here(pair.local());
    c.there(pair.network());
}

TEST(Conflicts, AreRecordedAndLeaveBothSidesUntouched)
{
    for (const auto& c : kConflicts) {
        SCOPED_TRACE(c.name);
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
            SCOPED_TRACE(std::string{c.name} + (winner == Peer::Local ? ": local wins" : ": network wins"));
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

/// One side is copied from and never written to.
JobOptions copyFrom(Peer peer)
{
    JobOptions options;
    options.resolveConflictsInFavorOf = peer;
    options.readOnlyPeer = peer;
    return options;
}

JobOptions copyOrEnd(Peer peer)
{
    JobOptions options;
    options.readOnlyPeer = peer;
    options.abortOnWriteToReadOnlyPeer = peer;
    options.abortOnConflict = true;
    options.suppressConflictDialogs = true;
    return options;
}

TEST(ReadOnlyPeer, ChangesForItWaitAndGoOutLater)
{
    HomePair pair;
    write(pair.local() / "edited", "1");
    write(pair.local() / "deleted", "1");
    write(pair.local() / "folder/moved", "1");
    write(pair.local() / "both", "1");
    pair.sync();
    write(pair.local() / "edited", "22");
    write(pair.local() / "new", "n");
    write(pair.local() / "folder/touched", "t");
    fs::remove(pair.local() / "deleted");
    ::chmod((pair.local() / "folder").c_str(), 0700);
    write(pair.local() / "both", "here");
    write(pair.network() / "both", "there wins");
    write(pair.network() / "from there", "f");
    Tree network = treeOf(pair.network());

    for (int pass = 0; pass < 2; ++pass) {
        const PassReport report = pair.sync({wholeHome(copyFrom(Peer::Network))});
        EXPECT_EQ(report.result, kPassSucceeded);
        EXPECT_TRUE(report.conflicts.empty());
        EXPECT_TRUE(report.errors.empty());
        EXPECT_EQ(report.jobStatus[0].name, "");
        EXPECT_EQ(report.counts.created, pass == 0 ? 1U : 0U);
        EXPECT_EQ(report.counts.updated, pass == 0 ? 1U : 0U);
        EXPECT_EQ(differences(treeOf(pair.network()), network), "") << "nothing may be written there";
    }
    EXPECT_EQ(read(pair.local() / "edited"), "22");
    EXPECT_EQ(read(pair.local() / "both"), "there wins");
    EXPECT_FALSE(fs::exists(pair.local() / "deleted")) << "a pending deletion is not undone";

    const PassReport report = pair.sync();
    EXPECT_TRUE(report.conflicts.empty());
    EXPECT_EQ(differences(treeOf(pair.local()), treeOf(pair.network())), "");
    EXPECT_EQ(read(pair.network() / "edited"), "22");
    EXPECT_FALSE(fs::exists(pair.network() / "deleted"));
    EXPECT_EQ(fs::status(pair.network() / "folder").permissions(), fs::perms::owner_all);
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

TEST(AbortOptions, AConflictEndsTheJobAsSuchAWriteOrOnItsOwn)
{
    HomePair pair;
    write(pair.local() / "file", "1");
    pair.sync();
    write(pair.local() / "file", "here");
    write(pair.network() / "file", "there");
    write(pair.local() / "new", "n");
    PassReport report = pair.sync({wholeHome(copyOrEnd(Peer::Local))});
    EXPECT_EQ(report.jobStatus[0].name, "AttemptToWriteToReadOnlyPeerException");
    EXPECT_EQ(writesOf(report), 0U);

    JobOptions options;
    options.abortOnConflict = true;
    report = pair.sync({wholeHome(options)});
    EXPECT_NE(report.jobStatus[0].name, "");
    EXPECT_NE(report.jobStatus[0].name, "AttemptToWriteToReadOnlyPeerException");
    EXPECT_EQ(writesOf(report), 0U);
    EXPECT_EQ(report.conflicts.size(), 1U);
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
