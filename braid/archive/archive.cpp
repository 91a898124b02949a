#include "archive.h"

#include <array>
#include <cstring>

#include "archive_file.h"
#include "braid/disk/calls.h"
#include "braid/disk/system.h"

namespace braid
{

namespace
{

std::int64_t asSigned(std::uint64_t number)
{
    return static_cast<std::int64_t>(number);
}

std::uint64_t asUnsigned(std::int64_t number)
{
    return static_cast<std::uint64_t>(number);
}

using DigestBytes = std::array<char, sizeof(Digest)>;

DigestBytes bytesOf(const Digest& digest)
{
    DigestBytes bytes{};
    std::memcpy(bytes.data(), &digest, bytes.size());
    return bytes;
}

std::optional<Digest> digestFrom(std::string_view bytes)
{
    if (bytes.size() != sizeof(Digest)) return std::nullopt;
    Digest digest;
    std::memcpy(&digest, bytes.data(), sizeof digest);
    return digest;
}

void bindStamp(Statement& statement, int at, const Stamp& stamp)
{
    statement.bind(at, asSigned(stamp.inode))
        .bind(at + 1, stamp.ctime)
        .bind(at + 2, stamp.mtime)
        .bind(at + 3, stamp.mode)
        .bind(at + 4, asSigned(stamp.attributes));
}

Stamp stampFrom(const Statement& statement, int at)
{
    Stamp stamp;
    stamp.inode = asUnsigned(statement.number(at));
    stamp.ctime = statement.number(at + 1);
    stamp.mtime = statement.number(at + 2);
    stamp.mode = static_cast<std::uint16_t>(statement.number(at + 3));
    stamp.attributes = asUnsigned(statement.number(at + 4));
    return stamp;
}

std::int64_t secondsNow()
{
    constexpr std::int64_t kNanosecondsPerSecond = 1'000'000'000;
    return disk::system().now() / kNanosecondsPerSecond;
}

const std::string kSelect = "SELECT name, kind, size, digest, unfinished,"
                            " local_inode, local_ctime, local_mtime, local_mode, local_attributes,"
                            " network_inode, network_ctime, network_mtime, network_mode, network_attributes";
const std::string kSelectEntries = kSelect + " FROM item WHERE pair = ?1 AND folder = ?2";

/// From a row of that.
Entry entryFrom(const Statement& row)
{
    Entry entry;
    entry.kind = static_cast<Kind>(row.number(1));
    entry.size = row.number(2);
    entry.digest = digestFrom(row.blob(3));
    const std::int64_t unfinished = row.number(4);
    entry.unfinished.local = (unfinished & 1) != 0;
    entry.unfinished.network = (unfinished & 2) != 0;
    entry.stamps.local = stampFrom(row, 5);
    entry.stamps.network = stampFrom(row, 10);
    return entry;
}

} // namespace

Archive::Archive(std::unique_ptr<Database> database) : mDatabase(std::move(database)) {}

Outcome<std::unique_ptr<Archive>> Archive::open(const std::string& markerFolder, bool mayWrite)
{
    // A link would have the engine read, and write, a file elsewhere.
    if (const auto folder = disk::openTop(markerFolder)) {
        const auto file = disk::statAt(folder->number(), kArchiveFile);
        if (file && file->exists() && file->kind != Kind::File) return openAfresh(markerFolder, mayWrite);
    }
    auto database =
        mayWrite ? openArchiveForWriting(markerFolder + "/" + kArchiveFile) : openArchiveForReading(markerFolder);
    if (database && isUnusableArchive(**database)) {
        *database = nullptr;
        return openAfresh(markerFolder, mayWrite);
    }
    return prepared(std::move(database));
}

Outcome<std::unique_ptr<Archive>> Archive::openAfresh(const std::string& markerFolder, bool mayWrite)
{
    if (mayWrite) setArchiveAside(markerFolder);
    return prepared(openArchiveForWriting(mayWrite ? markerFolder + "/" + kArchiveFile : ":memory:"));
}

Outcome<std::unique_ptr<Archive>> Archive::prepared(Outcome<std::unique_ptr<Database>> database)
{
    if (!database) return database.problem();
    std::unique_ptr<Archive> archive{new Archive{std::move(*database)}};
    archive->prepareStatements();
    if (auto failure = archive->failure(); failure && !archive->isDamaged()) return *failure;
    return archive;
}

void Archive::prepareStatements()
{
    mChildren = mDatabase->prepare((kSelectEntries + " ORDER BY name").c_str());
    mFind = mDatabase->prepare((kSelectEntries + " AND name = ?3").c_str());
    mMarkUnfinished = mDatabase->prepare(
        "UPDATE item SET unfinished = unfinished | ?4 WHERE pair = ?1 AND folder = ?2 AND name = ?3");
    mBlocks =
        mDatabase->prepare("SELECT blocks FROM block WHERE pair = ?1 AND folder = ?2 AND name = ?3 AND whole = ?4");
    mRecord = mDatabase->prepare("INSERT OR REPLACE INTO item (pair, folder, name, kind, size, digest, unfinished,"
                                 " local_inode, local_ctime, local_mtime, local_mode, local_attributes,"
                                 " network_inode, network_ctime, network_mtime, network_mode, network_attributes)"
                                 " VALUES (?1,?2,?3,?4,?5,?6,?7,?8,?9,?10,?11,?12,?13,?14,?15,?16,?17)");
    mForget = mDatabase->prepare("DELETE FROM item WHERE pair = ?1 AND folder = ?2 AND name = ?3");
    mForgetBlocks = mDatabase->prepare("DELETE FROM block WHERE pair = ?1 AND folder = ?2 AND name = ?3");
}

std::unique_ptr<Archive> Archive::openForQuestions(const std::filesystem::path& localHome)
{
    const std::filesystem::path folder = localHome / ".Braid";
    const auto file = disk::statPath((folder / kArchiveFile).native());
    if (!file || !file->exists()) return nullptr;
    // As another reader of the same database it sees the last commit of a pass that is under way.
    auto archive = open(folder.native(), true);
    if (!archive) archive = open(folder.native(), false);
    return archive ? std::move(*archive) : nullptr;
}

PairRecord Archive::usePair(const std::string& localId, const std::string& networkId)
{
    PairRecord record;
    Statement find = mDatabase->prepare("SELECT number, local_generation, network_generation FROM pair"
                                        " WHERE local_id = ?1 AND network_id = ?2");
    find.bindBlob(0, localId).bindBlob(1, networkId);
    if (find.step()) {
        record.number = find.number(0);
        record.generation.local = asUnsigned(find.number(1));
        record.generation.network = asUnsigned(find.number(2));
        mPair = record.number;
        return record;
    }
    if (sqlite3_db_readonly(mDatabase->handle(), "main") == 1) return record;
    Statement insert = mDatabase->prepare("INSERT INTO pair (local_id, network_id, local_generation,"
                                          " network_generation, used) VALUES (?1, ?2, 0, 0, 0)");
    insert.bindBlob(0, localId).bindBlob(1, networkId).run();
    mPair = sqlite3_last_insert_rowid(mDatabase->handle());
    return record;
}

void Archive::rememberGenerations(const PerPeer<std::uint64_t>& generations)
{
    Statement update = mDatabase->prepare(
        "UPDATE pair SET local_generation = ?2, network_generation = ?3, used = ?4 WHERE number = ?1");
    update.bind(0, mPair).bind(1, asSigned(generations.local)).bind(2, asSigned(generations.network));
    update.bind(3, secondsNow()).run();
}

std::optional<KnownPair> Archive::useLastPair()
{
    Statement last = mDatabase->prepare("SELECT number, local_id, network_id, used FROM pair"
                                        " ORDER BY used DESC, number DESC LIMIT 1");
    if (!last.step()) return std::nullopt;
    mPair = last.number(0);
    KnownPair pair{{std::string{last.blob(1)}, std::string{last.blob(2)}}, {}, last.number(3)};
    Statement place = mDatabase->prepare("SELECT network_home FROM place WHERE pair = ?1");
    place.bind(0, mPair);
    if (place.step()) pair.networkHome = place.blob(0);
    return pair;
}

void Archive::rememberNetworkHome(const std::string& path)
{
    // Seldom another than last time, and then a pass without changes writes nothing.
    Statement known = mDatabase->prepare("SELECT 1 FROM place WHERE pair = ?1 AND network_home = ?2");
    if (known.bind(0, mPair).bindBlob(1, path).step()) return;
    Statement place = mDatabase->prepare("INSERT OR REPLACE INTO place (pair, network_home) VALUES (?1, ?2)");
    place.bind(0, mPair).bindBlob(1, path).run();
}

std::optional<std::string> Archive::lastAreas(Occasion occasion)
{
    Statement find = mDatabase->prepare("SELECT jobs FROM areas WHERE pair = ?1 ORDER BY occasion <> ?2");
    find.bind(0, mPair).bind(1, static_cast<std::int64_t>(occasion));
    if (!find.step()) return std::nullopt;
    return std::string{find.blob(0)};
}

void Archive::rememberAreas(Occasion occasion, const std::string& areas)
{
    Statement put = mDatabase->prepare("INSERT OR REPLACE INTO areas (pair, occasion, jobs) VALUES (?1, ?2, ?3)");
    put.bind(0, mPair).bind(1, static_cast<std::int64_t>(occasion)).bindBlob(2, areas).run();
}

void Archive::clearEntries()
{
    Statement clear = mDatabase->prepare("DELETE FROM item WHERE pair = ?1");
    clear.bind(0, mPair).run();
    Statement clearBlocks = mDatabase->prepare("DELETE FROM block WHERE pair = ?1");
    clearBlocks.bind(0, mPair).run();
}

std::vector<NamedEntry> Archive::children(std::string_view folder)
{
    std::vector<NamedEntry> entries;
    entries.reserve(32); // more than most folders hold
    mChildren.bind(0, mPair).bindBlob(1, folder);
    while (mChildren.step())
        entries.push_back({std::string{mChildren.blob(0)}, entryFrom(mChildren)});
    mChildren.reset();
    return entries;
}

std::optional<Entry> Archive::find(std::string_view path)
{
    mFind.bind(0, mPair).bindBlob(1, folderOf(path)).bindBlob(2, nameOf(path));
    std::optional<Entry> entry;
    if (mFind.step()) entry = entryFrom(mFind);
    mFind.reset();
    return entry;
}

std::vector<Digest> Archive::blocks(std::string_view path, const Digest& whole)
{
    const DigestBytes key = bytesOf(whole);
    mBlocks.bind(0, mPair).bindBlob(1, folderOf(path)).bindBlob(2, nameOf(path)).bindBlob(3, {key.data(), key.size()});
    std::vector<Digest> blocks;
    if (mBlocks.step()) {
        const std::string_view bytes = mBlocks.blob(0);
        blocks.resize(bytes.size() / sizeof(Digest));
        if (!blocks.empty()) std::memcpy(blocks.data(), bytes.data(), blocks.size() * sizeof(Digest));
    }
    mBlocks.reset();
    return blocks;
}

void Archive::recordBlocks(std::string_view path, const Digest& whole, std::span<const Digest> blocks)
{
    Statement record = mDatabase->prepare("INSERT OR REPLACE INTO block (pair, folder, name, whole, blocks)"
                                          " VALUES (?1, ?2, ?3, ?4, ?5)");
    const DigestBytes key = bytesOf(whole);
    record.bind(0, mPair).bindBlob(1, folderOf(path)).bindBlob(2, nameOf(path)).bindBlob(3, {key.data(), key.size()});
    record.bindBlob(4, {reinterpret_cast<const char*>(blocks.data()), blocks.size_bytes()}).run();
}

std::vector<NamedEntry> Archive::filesOf(const PerPeer<std::unordered_set<std::uint64_t>>& inodes)
{
    std::vector<NamedEntry> files;
    const std::string text = kSelect + ", folder FROM item WHERE pair = ?1 AND kind = 1 AND unfinished = 0";
    Statement all = mDatabase->prepare(text.c_str());
    all.bind(0, mPair);
    while (all.step()) {
        const bool isOne =
            inodes.local.contains(asUnsigned(all.number(5))) || inodes.network.contains(asUnsigned(all.number(10)));
        if (isOne) files.push_back({joinPath(all.blob(15), all.blob(0)), entryFrom(all)});
    }
    return files;
}

std::uint64_t Archive::countEntries()
{
    Statement count = mDatabase->prepare("SELECT count(*) FROM item WHERE pair = ?1");
    count.bind(0, mPair);
    return count.step() ? asUnsigned(count.number(0)) : 0;
}

void Archive::beginReading()
{
    mDatabase->execute("BEGIN");
}

void Archive::endReading()
{
    mDatabase->execute("COMMIT");
}

void Archive::begin()
{
    mDatabase->execute("BEGIN IMMEDIATE");
}

void Archive::commit()
{
    mDatabase->execute("COMMIT");
}

void Archive::beginLazily()
{
    mDatabase->execute("PRAGMA synchronous=NORMAL");
    begin();
}

void Archive::commitLazily()
{
    commit();
    mDatabase->execute("PRAGMA synchronous=FULL");
}

void Archive::record(std::string_view path, const Entry& entry)
{
    const DigestBytes digest = bytesOf(entry.digest.value_or(Digest{}));
    mRecord.bind(0, mPair).bindBlob(1, folderOf(path)).bindBlob(2, nameOf(path));
    mRecord.bind(3, static_cast<int>(entry.kind)).bind(4, entry.size);
    if (entry.digest) {
        mRecord.bindBlob(5, {digest.data(), digest.size()});
    } else {
        mRecord.bindNull(5);
    }
    mRecord.bind(6, (entry.unfinished.local ? 1 : 0) | (entry.unfinished.network ? 2 : 0));
    bindStamp(mRecord, 7, entry.stamps.local);
    bindStamp(mRecord, 12, entry.stamps.network);
    mRecord.run();
}

void Archive::forget(std::string_view path)
{
    for (Statement* forget : {&mForget, &mForgetBlocks})
        forget->bind(0, mPair).bindBlob(1, folderOf(path)).bindBlob(2, nameOf(path)).run();
}

void Archive::replaceChangeTimes(Peer peer, const ChangeTime& now)
{
    const auto answer = [](sqlite3_context* context, int, sqlite3_value** values) {
        const auto& asked = *static_cast<const ChangeTime*>(sqlite3_user_data(context));
        const std::uint64_t inode = asUnsigned(sqlite3_value_int64(values[0]));
        sqlite3_result_int64(context, asked(inode, sqlite3_value_int64(values[1])));
    };
    const auto define = [&](auto function) {
        // SQLite hands the pointer back as it is.
        void* data = const_cast<ChangeTime*>(&now);
        mDatabase->note(sqlite3_create_function_v2(mDatabase->handle(), "ctime_now", 2, SQLITE_UTF8, data, function,
                                                   nullptr, nullptr, nullptr));
    };
    define(+answer);
    const bool isLocal = peer == Peer::Local;
    mDatabase
        ->prepare(isLocal ? "UPDATE item SET local_ctime = ctime_now(local_inode, local_ctime) WHERE pair = ?1"
                            " AND kind = 1 AND local_ctime <> 0 AND ctime_now(local_inode, local_ctime) <> local_ctime"
                          : "UPDATE item SET network_ctime = ctime_now(network_inode, network_ctime) WHERE pair = ?1"
                            " AND kind = 1 AND network_ctime <> 0"
                            " AND ctime_now(network_inode, network_ctime) <> network_ctime")
        .bind(0, mPair)
        .run();
    define(static_cast<void (*)(sqlite3_context*, int, sqlite3_value**)>(nullptr));
}

void Archive::markUnfinished(std::string_view path, Peer peer)
{
    mMarkUnfinished.bind(0, mPair).bindBlob(1, folderOf(path)).bindBlob(2, nameOf(path));
    mMarkUnfinished.bind(3, peer == Peer::Local ? 1 : 2).run();
}

} // namespace braid
