#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <random>
#include <sstream>

#include "braid/disk/journals.h"
#include "histories.h"
#include "history_world.h"
#include "home_view.h"
#include "sqlite_use.h"

/// Programs write to SQLite databases in both homes while passes come and go, and are struck.
namespace braid::sim
{
namespace
{

using Failure = std::optional<std::string>;

constexpr auto kPaths = std::to_array<const char*>({"a.db", "f/b.db"});
constexpr const char* kTorn = "torn";

/// How a program leaves a database.
enum class Manner { Closed, WithItsLog, WithoutLog, InATransaction };
constexpr auto kManners = std::to_array<const char*>({"closed", "with its log", "without log", "in a transaction"});

struct Files {
    std::string database, log, journal;
};

Files filesAt(const std::string& path)
{
    return {readWhole(path), readWhole(path + "-wal"), readWhole(path + "-journal")};
}

void put(const std::string& path, const Files& files)
{
    overwrite(path, files.database);
    if (!files.log.empty()) overwrite(path + "-wal", files.log);
    if (!files.journal.empty()) overwrite(path + "-journal", files.journal);
}

void removeAll(const std::string& home, const std::string& path)
{
    for (const char* suffix : {"", "-wal", "-shm", "-journal"})
        carryOut({.verb = Step::Verb::Remove, .path = path + suffix}, home);
}

/// All rows get the same number, on many pages: a mixture of two versions shows.
std::string update(std::uint64_t number)
{
    return "UPDATE row SET number = " + std::to_string(number) + ", filler = zeroblob(900 + " +
           std::to_string(number % 5) + ");";
}

void program(const std::string& path, std::uint64_t number, Manner manner)
{
    const Connection database = opened(path);
    const bool hasLog = manner == Manner::Closed || manner == Manner::WithItsLog;
    execute(database, std::string{"PRAGMA synchronous="} + (number % 3 == 0 ? "OFF" : "NORMAL"));
    execute(database, std::string{"PRAGMA journal_mode="} + (hasLog ? "WAL" : number % 2 == 0 ? "PERSIST" : "DELETE"));
    execute(database, "BEGIN; CREATE TABLE IF NOT EXISTS row (name INTEGER PRIMARY KEY, number, filler);"
                      "WITH RECURSIVE n(i) AS (SELECT 0 UNION ALL SELECT i + 1 FROM n WHERE i < 19)"
                      "INSERT OR IGNORE INTO row SELECT i, -1, NULL FROM n;" +
                          update(number) + "COMMIT;");
    if (manner == Manner::WithItsLog) {
        sqlite3_db_config(database.get(), SQLITE_DBCONFIG_NO_CKPT_ON_CLOSE, 1, nullptr);
    } else if (manner == Manner::InATransaction) {
        execute(database, "PRAGMA cache_size=1; BEGIN;" + update(number + 1'000'000));
        const Files halfway = filesAt(path);
        execute(database, "ROLLBACK");
        put(path, halfway);
    }
}

/// What SQLite reads in such files: the number of all rows, "" where there is no database.
std::string valueOf(const Files& files, const std::string& elsewhere)
{
    if (files.database.empty() && files.log.empty()) return "";
    removeAll(elsewhere, "x"); // a power cut brings back what was removed lately
    put(elsewhere + "/x", files);
    std::string value = kTorn;
    {
        const Connection database = opened(elsewhere + "/x");
        const std::string numbers = answer(database, "SELECT group_concat(DISTINCT number) FROM row");
        if (answer(database, "PRAGMA integrity_check") == "ok" && numbers.find(',') == std::string::npos)
            value = numbers;
    }
    return value;
}

class DatabaseRun
{
public:
    explicit DatabaseRun(std::uint64_t seed) : mRandom(seed), mHistory(historyOf(seed)), mWorld(World::make(mHistory))
    {
    }

    /// With all steps up to there.
    std::string failure();

private:
    struct Held {
        Files files;
        std::string value;
    };
    using Holding = std::map<std::pair<int, std::string>, Held>;

    static History historyOf(std::uint64_t seed);
    std::size_t below(std::size_t bound) { return mRandom() % bound; }
    void edit(int home, const char* path);
    Failure pass();
    Failure lastPass();
    PassSettings settings(std::size_t favor) const;
    Holding holding() const;
    std::set<std::string> contents() const;
    Failure keeps(const Holding& before, Mishap::Kind mishap) const;
    Failure checkReport(const PassReport& report);

    std::mt19937_64 mRandom;
    History mHistory;
    std::unique_ptr<World> mWorld;
    std::map<std::string, std::set<int>> mEdited; ///< Since the homes were seen in step: in which of them.
    std::uint64_t mNumber = 0;
    std::ostringstream mSteps;
};

History DatabaseRun::historyOf(std::uint64_t seed)
{
    History history;
    history.seed = seed;
    for (DiskTraits* traits : {&history.local, &history.network}) {
        traits->timeStep = seed % 3 == 0 ? 1'000'000'000 : 1;
        traits->exchanges = seed % 5 != 0;
        traits->flushesAsAWhole = seed % 4 != 0;
    }
    return history;
}

PassSettings DatabaseRun::settings(std::size_t favor) const
{
    PassSettings settings;
    settings.localHome = mWorld->home(0);
    settings.networkHome = mWorld->home(1);
    settings.jobs.resize(1);
    if (favor < 2) settings.jobs[0].options.resolveConflictsInFavorOf = favor == 0 ? Peer::Local : Peer::Network;
    settings.allowMassDeletion = true;
    return settings;
}

DatabaseRun::Holding DatabaseRun::holding() const
{
    Holding holding;
    for (const int home : {0, 1}) {
        for (const char* path : kPaths) {
            Held& held = holding[{home, path}];
            held.files = filesAt(mWorld->home(home) + "/" + path);
            held.value = valueOf(held.files, mWorld->home(2));
        }
    }
    return holding;
}

std::set<std::string> DatabaseRun::contents() const
{
    std::set<std::string> all = contentsIn(mWorld->home(0));
    all.merge(contentsIn(mWorld->home(1)));
    return all;
}

/// Each version is read in a home still, or all of its files exist; and in the homes nothing is read that nobody wrote.
Failure DatabaseRun::keeps(const Holding& before, Mishap::Kind mishap) const
{
    using Kind = Mishap::Kind;
    const bool canUndo = mishap == Kind::None || mishap == Kind::Fails;
    const std::set<std::string> all = contents();
    const Holding after = holding();
    for (const auto& [where, held] : after) {
        const auto& [home, path] = where;
        // A pass that is cut short may have taken away the journals of the version that it was about to replace.
        const bool hadJournals = !before.at(where).files.log.empty() || !before.at(where).files.journal.empty();
        if (!canUndo && hadJournals) continue;
        if (held.value == kTorn) return path + " is torn in home " + std::to_string(home);
        const bool isOne = held.value == before.at({0, path}).value || held.value == before.at({1, path}).value;
        if (canUndo && !isOne && !held.value.empty())
            return path + " has come to " + held.value + " in home " + std::to_string(home);
    }
    const auto exists = [&](const std::string& content) { return content.empty() || all.contains(content); };
    for (const auto& [where, held] : before) {
        if (held.value == kTorn) continue;
        const auto isRead = [&](const auto& item) { return item.second.value == held.value; };
        if (std::ranges::any_of(after, isRead)) continue;
        if (exists(held.files.database) && exists(held.files.log) && exists(held.files.journal)) continue;
        return "version " + held.value + " of " + where.second + " is lost";
    }
    return std::nullopt;
}

/// One active computer makes no conflict.
Failure DatabaseRun::checkReport(const PassReport& report)
{
    if (report.result != kPassSucceeded) return "result " + std::to_string(report.result) + ": " + report.reason;
    for (const Conflict& conflict : report.conflicts) {
        if (mEdited[conflict.path].size() < 2) return conflict.path + " is a conflict that nobody made";
    }
    const Holding after = holding();
    for (const char* path : kPaths) {
        const auto isIt = [&](const auto& matter) { return matter.path == path; };
        if (std::ranges::any_of(report.conflicts, isIt) || std::ranges::any_of(report.errors, isIt)) continue;
        if (after.at({0, path}).value != after.at({1, path}).value)
            return std::string{path} + " is neither in step nor listed: " + after.at({0, path}).value + " | " +
                   after.at({1, path}).value;
        mEdited[path].clear();
    }
    return std::nullopt;
}

void DatabaseRun::edit(int home, const char* path)
{
    const auto person = mWorld->person();
    mEdited[path].insert(home);
    const std::string file = mWorld->home(home) + "/" + path;
    if (below(7) == 0) {
        mSteps << "home " << home << " removes " << path << "\n";
        removeAll(mWorld->home(home), path);
    } else {
        const auto manner = static_cast<Manner>(below(kManners.size()));
        mSteps << "home " << home << " leaves " << path << " " << kManners[static_cast<std::size_t>(manner)] << " ("
               << ++mNumber << ")\n";
        carryOut({.verb = Step::Verb::MakeFolder, .path = "f"}, mWorld->home(home));
        program(file, mNumber, manner);
    }
    mWorld->settle();
}

Failure DatabaseRun::pass()
{
    const PassSettings settings = this->settings(below(4));
    Mishap mishap;
    if (below(2) == 0) {
        mishap.kind = static_cast<Mishap::Kind>(1 + below(6));
        mishap.call = static_cast<long>(1 + below(350));
        mishap.code = EIO;
    }
    mSteps << "pass, mishap " << static_cast<int>(mishap.kind) << " at call " << mishap.call << "\n";
    const auto person = mWorld->person();
    Holding wanted = holding();
    mishap.meanwhile = [&] {
        edit(static_cast<int>(below(2)), kPaths[below(kPaths.size())]);
        wanted = holding();
    };
    const bool isStruck = mishap.kind != Mishap::Kind::None;
    const PassReport report = mWorld->pass(settings, mishap);
    if (!mWorld->struck().empty()) mSteps << "  at " << mWorld->struck() << "\n";
    if (Failure failure = keeps(wanted, mishap.kind)) return failure;
    if (!isStruck) return checkReport(report);
    for (auto& [path, homes] : mEdited) {
        if (!homes.empty()) homes = {0, 1}; // by the pass, too, and nobody may have noted it
    }
    return std::nullopt;
}

/// Long after the last edit all is in step, and the pass after it is idle.
Failure DatabaseRun::lastPass()
{
    mSteps << "last pass\n";
    mWorld->wait(journals::kLeftBehind + 1'000'000'000);
    const auto person = mWorld->person();
    const Holding before = holding();
    const PassReport report = mWorld->pass(settings(2), {});
    if (Failure failure = keeps(before, Mishap::Kind::None)) return failure;
    if (Failure failure = checkReport(report)) return failure;
    if (!report.errors.empty()) return report.errors[0].path + ": " + report.errors[0].message;
    const Counts counts = mWorld->pass(settings(2), {}).counts;
    if (counts.created + counts.updated + counts.deleted + counts.renamed > 0) return "the second pass was not idle";
    return std::nullopt;
}

std::string DatabaseRun::failure()
{
    Failure failure;
    for (std::size_t left = 4 + below(10); left > 0 && !failure; --left) {
        switch (below(5)) {
        case 0:
            mSteps << "wait\n";
            mWorld->wait(std::array{std::int64_t{100'000'000}, std::int64_t{5'000'000'000},
                                    journals::kLeftBehind + 1'000'000'000}[below(3)]);
            break;
        case 1:
        case 2:
            failure = pass();
            break;
        default:
            edit(static_cast<int>(below(2)), kPaths[below(kPaths.size())]);
        }
    }
    if (!failure) failure = lastPass();
    return failure ? "seed " + std::to_string(mHistory.seed) + ": " + *failure + "\n" + mSteps.str() : "";
}

TEST(DatabaseHistories, WhatIsNamedLikeAJournalIsNotGoneWhereItsDatabaseCannotBeRead)
{
    Scene scene;
    scene.does({.verb = Step::Verb::Write, .path = "diary", .number = 1});
    scene.does({.verb = Step::Verb::Write, .path = "diary-journal", .number = 2});
    EXPECT_EQ(scene.pass().counts.created, 2U);
    scene.does({.verb = Step::Verb::SetMode, .path = "diary", .number = 0});
    EXPECT_EQ(scene.pass().counts.deleted, 0U);
    EXPECT_TRUE(scene.view(1).contains("diary-journal"));
}

TEST(DatabaseHistories, ACallThatFailsTakesNoLogFromItsDatabase)
{
    for (const bool isDeleted : {false, true}) {
        std::string struck = "the first";
        for (long call = 1; !struck.empty(); ++call) {
            History history;
            history.network.exchanges = call % 2 == 0;
            Scene scene{history};
            scene.settings().jobs[0].options.resolveConflictsInFavorOf = Peer::Local;
            scene.settings().allowMassDeletion = true;
            const auto write = [&](int home, std::uint64_t number, Manner manner) {
                const auto doing = scene.world().person();
                program(scene.world().home(home) + "/x", number, manner);
            };
            write(0, 1, Manner::Closed);
            scene.pass();
            write(1, 2, Manner::WithItsLog);
            if (isDeleted) {
                const auto doing = scene.world().person();
                removeAll(scene.world().home(0), "x");
            } else {
                write(0, 3, Manner::Closed);
            }
            scene.pass({.kind = Mishap::Kind::Fails, .call = (call + 1) / 2, .code = EIO, .meanwhile = {}});
            struck = scene.world().struck();
            const auto looking = scene.world().person();
            const std::string value = valueOf(filesAt(scene.world().home(1) + "/x"), scene.world().home(2));
            EXPECT_TRUE(value == "2" || value == (isDeleted ? "" : "3"))
                << "reads " << value << " after a failing " << struck << ", call " << (call + 1) / 2;
        }
    }
}

TEST(DatabaseHistories, AreNeverTornAndLoseNoVersion)
{
    const std::uint64_t first = setting("BRAID_SEED", 1);
    const std::uint64_t end = first + setting("BRAID_HISTORIES", 600);
    for (std::uint64_t seed = first; seed < end; ++seed)
        ASSERT_EQ(DatabaseRun{seed}.failure(), "");
}

} // namespace
} // namespace braid::sim
