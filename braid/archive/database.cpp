#include "database.h"

#include <array>
#include <cerrno>

namespace braid
{

namespace
{

constexpr int kBusyMilliseconds = 5000;

bool isFailure(int result)
{
    return result != SQLITE_OK && result != SQLITE_ROW && result != SQLITE_DONE;
}

/// A path in an SQLite URI: "?", "#" and "%" would be read as parts of it.
std::string uriOf(const std::string& file)
{
    constexpr std::string_view kDigits = "0123456789ABCDEF";
    std::string uri = "file:";
    for (const char c : file) {
        if (c != '?' && c != '#' && c != '%') {
            uri += c;
            continue;
        }
        uri += '%';
        uri += kDigits[static_cast<unsigned char>(c) >> 4];
        uri += kDigits[static_cast<unsigned char>(c) & 15];
    }
    return uri + "?immutable=1";
}

/// The errno value that says about the same as the extended result of a call.
int errnoOf(sqlite3* handle, int sqliteResult)
{
    const int kind = sqliteResult & 0xff;
    // What could not be written or made is told as any failure of that, with the system's own answer beside it.
    const int code = kind == SQLITE_IOERR || kind == SQLITE_CANTOPEN ? sqlite3_system_errno(handle) : 0;
    if (isFull(code)) return code;
    if (sqliteResult == SQLITE_IOERR_SHMSIZE) return ENOSPC; // the log's index could not grow, and nobody kept why
    switch (kind) {
    case SQLITE_FULL:
        return ENOSPC;
    case SQLITE_READONLY:
        return EROFS;
    case SQLITE_PERM:
    case SQLITE_AUTH:
    case SQLITE_CANTOPEN:
        return EACCES;
    case SQLITE_BUSY:
    case SQLITE_LOCKED:
        return EBUSY;
    case SQLITE_NOMEM:
        return ENOMEM;
    case SQLITE_CORRUPT:
    case SQLITE_NOTADB:
        return EUCLEAN;
    default:
        return EIO;
    }
}

} // namespace

Statement::Statement(Database& database, const char* text) : mDatabase(&database)
{
    sqlite3_stmt* statement = nullptr;
    database.note(sqlite3_prepare_v3(database.handle(), text, -1, SQLITE_PREPARE_PERSISTENT, &statement, nullptr));
    mStatement.reset(statement);
}

Statement& Statement::bind(int at, std::int64_t number)
{
    sqlite3_bind_int64(mStatement.get(), at + 1, number);
    return *this;
}

Statement& Statement::bindBlob(int at, std::string_view bytes)
{
    // An empty view may have no address, which SQLite would take for NULL.
    const char* data = bytes.empty() ? "" : bytes.data();
    sqlite3_bind_blob(mStatement.get(), at + 1, data, static_cast<int>(bytes.size()), SQLITE_STATIC);
    return *this;
}

Statement& Statement::bindNull(int at)
{
    sqlite3_bind_null(mStatement.get(), at + 1);
    return *this;
}

bool Statement::step()
{
    if (!mStatement) return false;
    const int result = sqlite3_step(mStatement.get());
    mDatabase->note(result);
    return result == SQLITE_ROW;
}

void Statement::reset()
{
    if (!mStatement) return;
    sqlite3_reset(mStatement.get());
}

std::int64_t Statement::number(int at) const
{
    return sqlite3_column_int64(mStatement.get(), at);
}

std::string_view Statement::blob(int at) const
{
    const void* data = sqlite3_column_blob(mStatement.get(), at);
    const auto size = static_cast<std::size_t>(sqlite3_column_bytes(mStatement.get(), at));
    return data ? std::string_view{static_cast<const char*>(data), size} : std::string_view{};
}

bool Statement::isNull(int at) const
{
    return sqlite3_column_type(mStatement.get(), at) == SQLITE_NULL;
}

Outcome<std::unique_ptr<Database>> Database::open(const std::string& file, Access access)
{
    sqlite3* handle = nullptr;
    const bool writes = access == Access::ReadWrite;
    const int flags = writes ? SQLITE_OPEN_READWRITE | SQLITE_OPEN_CREATE : SQLITE_OPEN_READONLY | SQLITE_OPEN_URI;
    const int result =
        sqlite3_open_v2((writes ? file : uriOf(file)).c_str(), &handle, flags | SQLITE_OPEN_NOMUTEX, nullptr);
    std::unique_ptr<Database> database{new Database{handle}};
    if (result != SQLITE_OK) return Problem{errnoOf(handle, result), "open the archive", file};
    sqlite3_extended_result_codes(handle, 1);
    sqlite3_busy_timeout(handle, kBusyMilliseconds);
    return database;
}

void Database::execute(const char* text)
{
    note(sqlite3_exec(mHandle.get(), text, nullptr, nullptr, nullptr));
}

void Database::note(int result)
{
    if (mFailure || !isFailure(result)) return;
    mFailure = Problem{errnoOf(mHandle.get(), result), "use the archive", sqlite3_errmsg(mHandle.get())};
    // The statements are right, so one that makes no sense to SQLite speaks to tables that are not ours any more.
    const int kind = result & 0xff;
    mDamaged = kind == SQLITE_CORRUPT || kind == SQLITE_NOTADB || kind == SQLITE_ERROR;
}

} // namespace braid
