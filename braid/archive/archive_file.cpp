#include "archive_file.h"

#include <filesystem>

#include "braid/disk/calls.h"
#include "braid/disk/content.h"
#include "braid/disk/system.h"

namespace braid
{

namespace
{

constexpr std::int64_t kNanosecondsPerSecond = 1'000'000'000;
constexpr std::int64_t kLayout = 1; // user_version; a file of another layout is set aside

constexpr const char* kSchema = R"sql(
CREATE TABLE IF NOT EXISTS pair (
    number INTEGER PRIMARY KEY, local_id BLOB NOT NULL, network_id BLOB NOT NULL,
    local_generation INTEGER NOT NULL, network_generation INTEGER NOT NULL, used INTEGER NOT NULL,
    UNIQUE (local_id, network_id));
CREATE TABLE IF NOT EXISTS item (
    pair INTEGER NOT NULL, folder BLOB NOT NULL, name BLOB NOT NULL,
    kind INTEGER NOT NULL, size INTEGER NOT NULL, digest BLOB, unfinished INTEGER NOT NULL,
    local_inode INTEGER NOT NULL, local_ctime INTEGER NOT NULL, local_mtime INTEGER NOT NULL,
    local_mode INTEGER NOT NULL, local_attributes INTEGER NOT NULL,
    network_inode INTEGER NOT NULL, network_ctime INTEGER NOT NULL, network_mtime INTEGER NOT NULL,
    network_mode INTEGER NOT NULL, network_attributes INTEGER NOT NULL,
    PRIMARY KEY (pair, folder, name)) WITHOUT ROWID;
CREATE TABLE IF NOT EXISTS conflict (
    pair INTEGER NOT NULL, path BLOB NOT NULL, kind BLOB NOT NULL,
    local_kind INTEGER, local_size INTEGER, local_mtime INTEGER,
    network_kind INTEGER, network_size INTEGER, network_mtime INTEGER,
    found INTEGER NOT NULL, PRIMARY KEY (pair, path)) WITHOUT ROWID;
CREATE TABLE IF NOT EXISTS place (pair INTEGER PRIMARY KEY, network_home BLOB NOT NULL);
CREATE TABLE IF NOT EXISTS block (
    pair INTEGER NOT NULL, folder BLOB NOT NULL, name BLOB NOT NULL, whole BLOB NOT NULL, blocks BLOB NOT NULL,
    PRIMARY KEY (pair, folder, name)) WITHOUT ROWID;
CREATE TABLE IF NOT EXISTS areas (
    pair INTEGER NOT NULL, occasion INTEGER NOT NULL, jobs BLOB NOT NULL, PRIMARY KEY (pair, occasion)) WITHOUT ROWID;
CREATE TABLE IF NOT EXISTS trouble (
    pair INTEGER NOT NULL, path BLOB NOT NULL, message BLOB NOT NULL,
    PRIMARY KEY (pair, path)) WITHOUT ROWID;
)sql";

std::int64_t layoutOf(Database& database)
{
    Statement statement = database.prepare("PRAGMA user_version");
    return statement.step() ? statement.number(0) : -1;
}

/// Some tables came after the first archives of this layout were written; this is the last that did.
bool lacksTables(Database& database)
{
    if (layoutOf(database) != kLayout) return false;
    Statement find = database.prepare("SELECT 1 FROM sqlite_master WHERE name = 'areas'");
    return !find.step();
}

int copyFile(int fromFolder, int toFolder, const std::string& name)
{
    const auto source = disk::openFile(fromFolder, name.c_str());
    if (!source) return source.problem().code;
    const auto stat = disk::statOf(source->number());
    if (!stat) return stat.problem().code;
    const auto target = disk::createFile(toFolder, name.c_str());
    if (!target) return target.problem().code;
    const auto copied = copyContent(*source, *stat, *target, {}, [](std::uint64_t) {});
    return copied ? 0 : copied.problem().code;
}

} // namespace

bool isUnusableArchive(Database& database)
{
    const std::int64_t layout = layoutOf(database);
    // A full disk or a lock keeps an archive from being read too; such a one is whole and comes back.
    return database.isDamaged() || (!database.failure() && layout != kLayout);
}

void setArchiveAside(const std::string& markerFolder)
{
    const auto folder = disk::openTop(markerFolder);
    if (!folder) return;
    const std::string file = kArchiveFile;
    const std::string aside = file + ".damaged-" + std::to_string(disk::system().now() / kNanosecondsPerSecond);
    disk::renameOver(folder->number(), kArchiveFile, folder->number(), aside.c_str());
    // The log belongs to the damaged file; SQLite would play it into the new one.
    disk::renameOver(folder->number(), (file + "-wal").c_str(), folder->number(), (aside + "-wal").c_str());
    disk::unlink(folder->number(), (file + "-shm").c_str());
}

Outcome<std::unique_ptr<Database>> openArchiveForWriting(const std::string& file)
{
    auto database = Database::open(file, Database::Access::ReadWrite);
    if (!database) return database;
    (*database)->execute("PRAGMA journal_mode=WAL");
    // Every agreement must be on the disk before the pass relies on it.
    (*database)->execute("PRAGMA synchronous=FULL");
    // A pass goes through it folder by folder: a third of what SQLite takes by itself serves as well.
    (*database)->execute("PRAGMA cache_size=-600");
    // 16 MB of log. To carry it over waits for the disk twice, which a first sync of many items feels.
    (*database)->execute("PRAGMA wal_autocheckpoint=4000");
    if (layoutOf(**database) == 0 || lacksTables(**database)) {
        (*database)->execute("BEGIN IMMEDIATE");
        (*database)->execute(kSchema);
        (*database)->execute("PRAGMA user_version=1");
        (*database)->execute("COMMIT");
    }
    return database;
}

Outcome<std::unique_ptr<Database>> openArchiveForReading(const std::string& markerFolder)
{
    const auto folder = disk::openTop(markerFolder);
    const auto look = [&](const std::string& name) {
        return folder ? disk::statAt(folder->number(), name.c_str()) : Outcome<Stat>{Stat{}};
    };
    const std::string log = std::string{kArchiveFile} + "-wal";
    if (const auto stat = look(kArchiveFile); !stat || !stat->exists()) return openArchiveForWriting(":memory:");
    if (const auto stat = look(log); !stat || stat->size == 0) {
        return Database::open(markerFolder + "/" + kArchiveFile, Database::Access::ReadOnlyAsItLies);
    }
    std::error_code error;
    const std::filesystem::path path = std::filesystem::temp_directory_path(error);
    const auto temporary = disk::openTop(error ? "/tmp" : path.native());
    if (!temporary) return temporary.problem();
    std::uint64_t number = 0;
    disk::system().randomBytes(&number, sizeof number);
    const std::string name = "braid-" + std::to_string(number);
    if (int code = disk::makeFolder(temporary->number(), name.c_str(), 0700)) {
        return Problem{code, "copy the archive", name};
    }
    const auto copies = disk::openFolder(temporary->number(), name);
    int code = copies ? copyFile(folder->number(), copies->number(), kArchiveFile) : copies.problem().code;
    if (code == 0) code = copyFile(folder->number(), copies->number(), log);
    Outcome<std::unique_ptr<Database>> database = Problem{code, "copy the archive", name};
    if (code == 0) {
        database =
            Database::open(((error ? "/tmp" : path) / name / kArchiveFile).native(), Database::Access::ReadWrite);
        if (database) (*database)->execute("SELECT count(*) FROM pair"); // attaches the log before the names go
    }
    disk::removeTree(temporary->number(), name.c_str());
    return database;
}

} // namespace braid
