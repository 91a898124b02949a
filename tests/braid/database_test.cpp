#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <fstream>
#include <random>
#include <thread>

#include "braid/home/trash_versions.h"
#include "home_pair.h"
#include "sqlite_use.h"

/// SQLite databases that programs have open while they are synced.
namespace braid
{
namespace
{

namespace fs = std::filesystem;

constexpr const char* kTotal = "SELECT sum(amount) FROM account";

void makeAccounts(const Connection& database, const char* mode)
{
    ASSERT_TRUE(execute(database, std::string{"PRAGMA journal_mode="} + mode + "; PRAGMA wal_autocheckpoint=20;"));
    ASSERT_TRUE(execute(database, "CREATE TABLE account (name INTEGER PRIMARY KEY, amount INTEGER, note BLOB);"
                                  "WITH RECURSIVE n(i) AS (SELECT 0 UNION ALL SELECT i + 1 FROM n WHERE i < 99)"
                                  "INSERT INTO account SELECT i, 100, randomblob(500) FROM n;"));
}

/// Moves money about, with a rest now and then; the sum stays the same.
void move(const Connection& database, std::mt19937_64& random)
{
    const auto account = [&] { return std::to_string(random() % 100); };
    execute(database, "BEGIN; UPDATE account SET amount = amount - 1, note = randomblob(" +
                          std::to_string(random() % 2000) + ") WHERE name = " + account() +
                          "; UPDATE account SET amount = amount + 1 WHERE name = " + account() + "; COMMIT;");
    std::this_thread::sleep_for(std::chrono::milliseconds{random() % 8 == 0 ? 120 : random() % 3});
}

TEST(Database, CopiesDuringWritesAreAllWholeAndNoConflict)
{
    for (const char* mode : {"WAL", "DELETE"}) {
        SCOPED_TRACE(mode);
        HomePair pair;
        makeAccounts(opened(pair.local() / "money.db"), mode);
        std::atomic<bool> isDone{false};
        std::thread writer{[&] {
            std::mt19937_64 random{7};
            const Connection database = opened(pair.local() / "money.db");
            execute(database, "PRAGMA wal_autocheckpoint=20; PRAGMA synchronous=OFF;");
            while (!isDone)
                move(database, random);
        }};
        std::uint64_t copies = 0;
        for (int pass = 0; pass < 40; ++pass) {
            std::this_thread::sleep_for(std::chrono::milliseconds{15});
            const PassReport report = pair.sync();
            EXPECT_TRUE(report.conflicts.empty());
            copies += report.counts.bytes > 0 ? 1 : 0;
            EXPECT_LE(report.errors.size(), 1U);
            if (!fs::exists(pair.network() / "money.db")) continue;
            // Looked at beside the home, where SQLite makes its own files.
            fs::copy_file(pair.network() / "money.db", pair.top() / "copy.db", fs::copy_options::overwrite_existing);
            const Connection copy = opened(pair.top() / "copy.db");
            EXPECT_EQ(answer(copy, "PRAGMA integrity_check"), "ok");
            EXPECT_EQ(answer(copy, kTotal), "10000");
            EXPECT_EQ(treeOf(pair.network()).size(), 1U) << "the journals are no items";
        }
        isDone = true;
        writer.join();
        EXPECT_GE(copies, 3U);
        std::this_thread::sleep_for(std::chrono::milliseconds{60});
        EXPECT_TRUE(pair.sync().errors.empty());
        EXPECT_EQ(answer(opened(pair.local() / "money.db"), "SELECT sum(amount * name) FROM account"),
                  answer(opened(pair.network() / "money.db"), "SELECT sum(amount * name) FROM account"));
    }
}

TEST(Database, JournalsGoWithTheVersionThatTheyBelongTo)
{
    HomePair pair;
    makeAccounts(opened(pair.local() / "money.db"), "WAL");
    write(pair.local() / "diary", "no database");
    write(pair.local() / "diary-journal", "an item of its own");
    std::this_thread::sleep_for(std::chrono::milliseconds{60});
    pair.sync();
    EXPECT_EQ(read(pair.network() / "diary-journal"), "an item of its own");

    // A program died on the network home and left its log; then a newer version arrives from here.
    const fs::path logFile = pair.network() / "money.db-wal";
    {
        const Connection database = opened(pair.network() / "money.db");
        execute(database, "UPDATE account SET amount = 50 WHERE name = 1");
        fs::copy_file(logFile, pair.top() / "log");
        execute(database, "UPDATE account SET amount = 100 WHERE name = 1");
    }
    fs::copy_file(pair.top() / "log", logFile);
    EXPECT_TRUE(execute(opened(pair.local() / "money.db"), "UPDATE account SET amount = 700 WHERE name = 2"));
    std::this_thread::sleep_for(std::chrono::milliseconds{60});
    EXPECT_TRUE(pair.syncResolving(Peer::Local).errors.empty());
    EXPECT_FALSE(fs::exists(logFile));
    EXPECT_EQ(answer(opened(pair.network() / "money.db"), kTotal), "10600");

    // From the trash it comes back as one, and nothing of it is taken for a part of the one that is there.
    const std::string home = pair.network();
    const auto trashed = listTrash(home);
    ASSERT_TRUE(trashed);
    ASSERT_EQ(trashed->size(), 1U);
    EXPECT_EQ(trashed->front().path, "money.db");
    const auto restored = restoreVersion(home, trashed->front());
    ASSERT_TRUE(restored);
    EXPECT_EQ(answer(opened(home + "/" + *restored), kTotal), "9950");
    const fs::path kept = pair.network() / ".Braid/trash" / trashed->front().pass;
    fs::remove(kept / "money.db");
    const auto log = listTrash(home);
    ASSERT_EQ(log->size(), 1U);
    const auto beside = restoreVersion(home, log->front());
    ASSERT_TRUE(beside);
    EXPECT_NE(*beside, "money.db-wal");
    EXPECT_EQ(answer(opened(pair.network() / "money.db"), kTotal), "10600");
    fs::remove(home + "/" + *restored);
    fs::remove(home + "/" + *beside);

    // A deletion takes them along.
    pair.sync();
    std::ofstream{pair.network() / "money.db-shm"} << "an index";
    fs::remove(pair.local() / "money.db");
    EXPECT_TRUE(pair.sync().errors.empty());
    EXPECT_EQ(treeOf(pair.network()).size(), 2U);
    EXPECT_EQ(writesOf(pair.sync()), 0U);
}

} // namespace
} // namespace braid
