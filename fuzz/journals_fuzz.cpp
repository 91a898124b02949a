#include <sqlite3.h>

#include <array>
#include <cstdint>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <memory>
#include <string>

#include "braid/disk/calls.h"
#include "braid/disk/journals.h"

namespace
{

namespace fs = std::filesystem;

const fs::path& folder()
{
    static const fs::path made = [] {
        std::string name = (fs::exists("/dev/shm") ? "/dev/shm" : "/tmp") + std::string{"/journals-fuzz-XXXXXX"};
        if (::mkdtemp(name.data()) == nullptr) std::abort();
        std::atexit([] { fs::remove_all(folder()); });
        return fs::path{name};
    }();
    return made;
}

std::string contentOf(const fs::path& path)
{
    std::ifstream in{path, std::ios::binary};
    return {std::istreambuf_iterator<char>{in}, {}};
}

void put(const fs::path& path, const std::string& content)
{
    std::ofstream{path, std::ios::binary} << content;
}

struct Close {
    void operator()(sqlite3* database) const { sqlite3_close(database); }
};
using Connection = std::unique_ptr<sqlite3, Close>;

Connection opened(const fs::path& path)
{
    sqlite3* database = nullptr;
    if (sqlite3_open(path.c_str(), &database) != SQLITE_OK) std::abort();
    return Connection{database};
}

/// Of all rows; "" where SQLite finds the database damaged.
std::string answer(const fs::path& path)
{
    std::string text;
    const Connection database = opened(path);
    const auto add = [](void* to, int count, char** values, char**) {
        for (int i = 0; i < count; ++i)
            *static_cast<std::string*>(to) += std::string{values[i] ? values[i] : ""} + " ";
        return 0;
    };
    const int code = sqlite3_exec(
        database.get(), "SELECT name, number, length(filler) FROM row; PRAGMA integrity_check;", add, &text, nullptr);
    return code == SQLITE_OK && text.ends_with("ok ") ? text : "";
}

/// A database as a program leaves it that dies in its second transaction, and the journal beside it.
struct Left {
    std::string suffix, database, journal;
};

Left leave(const char* mode, const char* synchronous, const char* suffix)
{
    const fs::path path = folder() / (std::string{mode} + ".db");
    const Connection database = opened(path);
    const auto execute = [&](const std::string& text) {
        if (sqlite3_exec(database.get(), text.c_str(), nullptr, nullptr, nullptr) != SQLITE_OK) std::abort();
    };
    execute(std::string{"PRAGMA page_size=512; PRAGMA cache_size=1; PRAGMA journal_mode="} + mode);
    execute(std::string{"PRAGMA synchronous="} + synchronous);
    execute("CREATE TABLE row (name INTEGER PRIMARY KEY, number, filler);"
            "WITH RECURSIVE n(i) AS (SELECT 0 UNION ALL SELECT i + 1 FROM n WHERE i < 19)"
            "INSERT INTO row SELECT i, 1, zeroblob(300) FROM n;");
    execute("BEGIN; UPDATE row SET number = 2, filler = zeroblob(400)");
    return {suffix, contentOf(path), contentOf(path.native() + suffix)};
}

} // namespace

/// The journal with some bytes changed, two for the place and one for the value, again and again: a copy that has taken
/// it in is what SQLite makes of both.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    static const std::array<Left, 3> kinds{leave("WAL", "NORMAL", "-wal"), leave("PERSIST", "NORMAL", "-journal"),
                                           leave("DELETE", "OFF", "-journal")};
    if (size == 0) return 0;
    const Left& left = kinds[data[0] % kinds.size()];
    std::string journal = left.journal;
    for (std::size_t i = 1; i + 3 <= size; i += 3)
        journal[(std::size_t{data[i]} * 256 + data[i + 1]) % journal.size()] = static_cast<char>(data[i + 2]);
    if (size % 3 == 0) journal.resize(journal.size() * data[size - 1] / 256);

    const fs::path home = folder() / "home";
    fs::remove_all(home);
    fs::create_directory(home);
    put(home / "x", left.database);
    put(home.native() + "/x" + left.suffix, journal);
    {
        const auto in = braid::disk::openTop(home.native());
        const auto copy = braid::disk::createFile(in->number(), "copy");
        put(home / "copy", left.database);
        if (braid::journals::takeIn(in->number(), "x", *copy) != 0) return 0;
    }
    const std::string expected = answer(home / "x");
    if (!expected.empty() && answer(home / "copy") != expected) std::abort();
    return 0;
}
