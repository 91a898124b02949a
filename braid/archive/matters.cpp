#include "archive.h"
#include "braid/disk/system.h"

/// The part of the archive that is for people: unresolved conflicts and errors.
namespace braid
{

namespace
{

void deletePaths(Database& database, const char* text, std::int64_t pair, const std::vector<std::string>& paths)
{
    Statement remove = database.prepare(text);
    for (const std::string& path : paths)
        remove.bind(0, pair).bindBlob(1, path).run();
}

std::vector<std::string> stalePaths(const std::function<bool(std::string_view)>& isStale, const OpenMatters& matters)
{
    std::vector<std::string> paths;
    for (const Conflict& conflict : matters.conflicts) {
        if (isStale(conflict.path)) paths.push_back(conflict.path);
    }
    for (const ItemError& error : matters.errors) {
        if (isStale(error.path)) paths.push_back(error.path);
    }
    return paths;
}

void bindStat(Statement& statement, int at, const Stat& stat)
{
    statement.bind(at, static_cast<int>(stat.kind)).bind(at + 1, stat.size).bind(at + 2, stat.mtime);
}

Version versionFrom(const Statement& statement, int at)
{
    return {static_cast<Kind>(statement.number(at)), statement.number(at + 1), statement.number(at + 2)};
}

} // namespace

void Archive::replaceMatters(const std::function<bool(std::string_view path)>& isStale,
                             const std::vector<ConflictRecord>& conflicts, const std::vector<ItemError>& errors)
{
    const std::vector<std::string> stale = stalePaths(isStale, matters());
    deletePaths(*mDatabase, "DELETE FROM conflict WHERE pair = ?1 AND path = ?2", mPair, stale);
    deletePaths(*mDatabase, "DELETE FROM trouble WHERE pair = ?1 AND path = ?2", mPair, stale);

    Statement addConflict = mDatabase->prepare("INSERT OR REPLACE INTO conflict (pair, path, kind,"
                                               " local_kind, local_size, local_mtime,"
                                               " network_kind, network_size, network_mtime, found)"
                                               " VALUES (?1,?2,?3,?4,?5,?6,?7,?8,?9,?10)");
    for (const ConflictRecord& record : conflicts) {
        addConflict.bind(0, mPair).bindBlob(1, record.conflict.path).bindBlob(2, record.conflict.kind);
        bindStat(addConflict, 3, record.stats.local);
        bindStat(addConflict, 6, record.stats.network);
        addConflict.bind(9, disk::system().now() / 1'000'000'000).run();
    }
    Statement addError = mDatabase->prepare("INSERT OR REPLACE INTO trouble (pair, path, message) VALUES (?1,?2,?3)");
    for (const ItemError& error : errors) {
        addError.bind(0, mPair).bindBlob(1, error.path).bindBlob(2, error.message).run();
    }
}

OpenMatters Archive::matters()
{
    OpenMatters matters;
    Statement conflicts = mDatabase->prepare("SELECT path, kind, local_kind, local_size, local_mtime, network_kind,"
                                             " network_size, network_mtime FROM conflict WHERE pair = ?1"
                                             " ORDER BY path");
    conflicts.bind(0, mPair);
    while (conflicts.step()) {
        matters.conflicts.push_back({std::string{conflicts.blob(0)}, std::string{conflicts.blob(1)},
                                     versionFrom(conflicts, 2), versionFrom(conflicts, 5)});
    }
    Statement errors = mDatabase->prepare("SELECT path, message FROM trouble WHERE pair = ?1 ORDER BY path");
    errors.bind(0, mPair);
    while (errors.step())
        matters.errors.push_back({std::string{errors.blob(0)}, std::string{errors.blob(1)}});
    return matters;
}

} // namespace braid
