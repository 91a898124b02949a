#pragma once

#include <sqlite3.h>

#include <memory>
#include <string>

/// A program's use of an SQLite database.
namespace braid
{

struct ConnectionCloser {
    void operator()(sqlite3* handle) const { sqlite3_close(handle); }
};
using Connection = std::unique_ptr<sqlite3, ConnectionCloser>;

inline Connection opened(const std::string& file)
{
    sqlite3* handle = nullptr;
    sqlite3_open(file.c_str(), &handle);
    return Connection{handle};
}

inline bool execute(const Connection& database, const std::string& text)
{
    return sqlite3_exec(database.get(), text.c_str(), nullptr, nullptr, nullptr) == SQLITE_OK;
}

/// The first column of all rows, one behind the other; what came before a failure.
inline std::string answer(const Connection& database, const char* question)
{
    std::string text;
    const auto take = [](void* into, int, char** columns, char**) {
        *static_cast<std::string*>(into) += columns[0] ? columns[0] : "null";
        return 0;
    };
    sqlite3_exec(database.get(), question, take, &text, nullptr);
    return text;
}

} // namespace braid
