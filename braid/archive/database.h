#pragma once

#include <sqlite3.h>

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "braid/disk/problem.h"

namespace braid
{

/// A prepared statement. Parameters and columns count from 0.
class Statement
{
public:
    Statement() = default;
    Statement(class Database& database, const char* text); ///< The database must outlive the statement.

    Statement& bind(int at, std::int64_t number);
    Statement& bindBlob(int at, std::string_view bytes); ///< `bytes` must live until the statement is reset.
    Statement& bindNull(int at);

    /// True: there is a row. False: done, or failed; then failed() of the database tells.
    bool step();
    /// Runs a statement that gives no rows.
    void run()
    {
        step();
        reset();
    }
    void reset();

    std::int64_t number(int at) const;
    std::string_view blob(int at) const; ///< Until the next step() or reset().
    bool isNull(int at) const;

private:
    struct Finalizer {
        void operator()(sqlite3_stmt* statement) const { sqlite3_finalize(statement); }
    };
    std::unique_ptr<sqlite3_stmt, Finalizer> mStatement;
    class Database* mDatabase = nullptr;
};

/// An SQLite file. A failure sticks: later statements still run, and failure() says what came first.
class Database
{
public:
    enum class Access { ReadWrite, ReadOnlyAsItLies };

    /// ReadOnlyAsItLies takes no lock and makes no file beside the database; nobody may be writing to it.
    static Outcome<std::unique_ptr<Database>> open(const std::string& file, Access access);

    void execute(const char* text);
    Statement prepare(const char* text) { return Statement{*this, text}; }
    sqlite3* handle() { return mHandle.get(); }

    std::optional<Problem> failure() const { return mFailure; }
    /// The first failure was that the file is not, or no longer, a database.
    bool isDamaged() const { return mDamaged; }
    /// Keeps the result of an SQLite call if it is the first failure.
    void note(int result);

private:
    struct Closer {
        void operator()(sqlite3* handle) const { sqlite3_close_v2(handle); }
    };
    explicit Database(sqlite3* handle) : mHandle(handle) {}

    std::unique_ptr<sqlite3, Closer> mHandle;
    std::optional<Problem> mFailure;
    bool mDamaged = false;
};

} // namespace braid
