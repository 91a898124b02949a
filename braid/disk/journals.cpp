#include "journals.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstring>
#include <memory>

#include "calls.h"
#include "content.h"
#include "journal_readers.h"
#include "seam.h"
#include "system.h"

namespace braid::journals
{

namespace
{

constexpr std::string_view kLog = "-wal";
constexpr std::string_view kIndex = "-shm";
constexpr std::string_view kRollback = "-journal";
constexpr auto kSuffixes = std::to_array<std::string_view>({kLog, kIndex, kRollback});

/// "" where nothing, a link or a folder has the name.
Outcome<std::string> beginningOf(int folder, const std::string& name, std::size_t length)
{
    const auto file = disk::openFile(folder, name.c_str());
    const auto text = file ? disk::readSmall(file->number(), length) : Outcome<std::string>{file.problem()};
    const bool isNoFile =
        !text && (text.problem().code == ENOENT || text.problem().code == ELOOP || text.problem().code == EISDIR);
    return isNoFile ? Outcome<std::string>{std::string{}} : text;
}

/// Without its rollback journal the database is damaged.
Outcome<bool> isInTransaction(int folder, const std::string& name)
{
    const auto journal = beginningOf(folder, name + std::string{kRollback}, kStartLength);
    if (!journal) return journal.problem();
    return isRollbackStart(*journal);
}

/// As a name of its own, or of a journal whose database was never written to.
Outcome<bool> isDatabase(int folder, const Listing::Item& item)
{
    if (item.stat.size > 0) {
        const auto start = beginningOf(folder, item.name, kDatabaseStart.size());
        if (!start) return start.problem();
        return isDatabaseStart(*start);
    }
    const auto log = beginningOf(folder, item.name + std::string{kLog}, kStartLength);
    if (!log) return log.problem();
    if (isLogStart(*log)) return true;
    return isInTransaction(folder, item.name);
}

/// A journal that is empty, or an index, which SQLite makes anew, says nothing about the content.
void add(Stat& database, std::string_view suffix, const Stat& journal)
{
    database.journals = std::max(database.journals, Journals::Idle);
    if (suffix == kIndex || journal.size == 0) return;
    database.journals = Journals::Live;
    database.mtime = std::max(database.mtime, journal.mtime);
    database.ctime = std::max(database.ctime, journal.ctime);
}

int writeAt(int file, std::int64_t offset, std::string_view bytes)
{
    if (int code = seam::ask(seam::Operation::Write, file, "")) return code;
    if (disk::system().lseek(file, offset, SEEK_SET) < 0) return errno;
    while (!bytes.empty()) {
        const ssize_t put = disk::system().write(file, bytes.data(), bytes.size());
        if (put < 0 && errno == EINTR) continue;
        if (put < 0) return errno;
        bytes.remove_prefix(static_cast<std::size_t>(put));
    }
    return 0;
}

int writePage(const Descriptor& copy, std::uint32_t number, std::string_view page)
{
    return writeAt(copy.number(), std::int64_t{number - 1} * static_cast<std::int64_t>(page.size()), page);
}

/// EBUSY: a database of more pages than it and its journal have together was never written.
int checkPages(const Descriptor& copy, const Descriptor& journal, std::uint32_t pages, std::uint32_t pageSize)
{
    const auto database = disk::statOf(copy.number());
    const auto stat = disk::statOf(journal.number());
    if (!database || !stat) return (database ? stat : database).problem().code;
    return std::int64_t{pages} * pageSize > database->size + stat->size ? EBUSY : 0;
}

int setPages(const Descriptor& copy, std::uint32_t pages, std::uint32_t pageSize)
{
    return disk::system().ftruncate(copy.number(), std::int64_t{pages} * pageSize) < 0 ? errno : 0;
}

int takeInLog(const Descriptor& log, const Descriptor& copy)
{
    // What follows the last commit never happened.
    LogReader reader{log};
    if (!reader.begin()) return reader.problem();
    std::size_t committed = 0;
    std::uint32_t pages = 0;
    for (std::size_t frame = 1; reader.next(); ++frame) {
        if (reader.pagesAfterCommit() == 0) continue;
        committed = frame;
        pages = reader.pagesAfterCommit();
    }
    if (reader.problem() != 0) return reader.problem();
    if (committed == 0) return 0;
    if (int code = checkPages(copy, log, pages, reader.pageSize())) return code;
    if (!reader.begin()) return EAGAIN;
    for (std::size_t frame = 0; frame < committed; ++frame) {
        if (!reader.next() || reader.pageNumber() == 0) return EAGAIN;
        if (reader.pageNumber() > pages) continue; // cut off by a later transaction
        if (int code = writePage(copy, reader.pageNumber(), reader.page())) return code;
    }
    return setPages(copy, pages, reader.pageSize());
}

int takeBack(const Descriptor& journal, const Descriptor& copy)
{
    RollbackReader reader{journal};
    if (!reader.begin()) return reader.problem();
    if (int code = checkPages(copy, journal, reader.pagesBefore(), reader.pageSize())) return code;
    while (reader.next()) {
        if (reader.pageNumber() > reader.pagesBefore()) continue;
        if (int code = writePage(copy, reader.pageNumber(), reader.page())) return code;
    }
    return reader.problem() != 0 ? reader.problem() : setPages(copy, reader.pagesBefore(), reader.pageSize());
}

} // namespace

void join(int folder, std::vector<Listing::Item>& items)
{
    std::vector<std::size_t> joined;
    for (std::size_t at = 0; at < items.size(); ++at) {
        const std::string_view name = items[at].name;
        const auto* suffix = std::ranges::find_if(kSuffixes, [&](auto end) { return name.ends_with(end); });
        if (suffix == kSuffixes.end() || items[at].stat.kind != Kind::File) continue;
        const auto database =
            std::ranges::lower_bound(items, name.substr(0, name.size() - suffix->size()), {}, &Listing::Item::name);
        if (database == items.end() || database->name.size() + suffix->size() != name.size()) continue;
        if (!name.starts_with(database->name)) continue;
        // A journal of what may be a database must not travel alone, and an item of its own is not gone.
        if (database->error != 0) items[at].error = database->error;
        if (database->stat.kind != Kind::File) continue;
        if (database->stat.journals == Journals::None) {
            const auto is = isDatabase(folder, *database);
            if (!is) items[at].error = is.problem().code;
            if (!is || !*is) continue;
        }
        add(database->stat, *suffix, items[at].stat);
        joined.push_back(at);
    }
    for (auto at = joined.rbegin(); at != joined.rend(); ++at)
        items.erase(items.begin() + static_cast<std::ptrdiff_t>(*at));
}

Outcome<Stat> lookAgain(int folder, const char* name, const Stat& seen)
{
    return seen.journals == Journals::None ? disk::statAt(folder, name) : lookJoined(folder, name);
}

Outcome<Stat> lookJoined(int folder, const char* name)
{
    auto stat = disk::statAt(folder, name);
    if (!stat || stat->kind != Kind::File) return stat;
    for (const std::string_view suffix : kSuffixes) {
        const auto journal = disk::statAt(folder, (std::string{name} + std::string{suffix}).c_str());
        if (!journal) return journal;
        if (journal->kind == Kind::File) add(*stat, suffix, *journal);
    }
    return stat;
}

std::vector<std::string> namesBeside(const std::string& name)
{
    std::vector<std::string> names;
    for (const std::string_view suffix : kSuffixes)
        names.push_back(name + std::string{suffix});
    return names;
}

bool areBeside(int folder, const char* name)
{
    return std::ranges::any_of(namesBeside(name), [&](const std::string& journal) {
        const auto stat = disk::statAt(folder, journal.c_str());
        return !stat || stat->kind == Kind::File;
    });
}

bool wouldBelong(int folder, const std::string& name)
{
    return std::ranges::any_of(kSuffixes, [&](std::string_view suffix) {
        if (!name.ends_with(suffix)) return false;
        const std::string database = name.substr(0, name.size() - suffix.size());
        const auto stat = disk::statAt(folder, database.c_str());
        if (!stat || stat->kind != Kind::File) return !stat;
        const auto belongs = isDatabase(folder, {database, *stat});
        return !belongs || *belongs;
    });
}

int checkNotInTransaction(int folder, const std::string& name, const Stat& joined, std::int64_t now)
{
    const auto is = isInTransaction(folder, name);
    if (!is) return is.problem().code;
    const bool isLeft = now - joined.ctime > kLeftBehind;
    return *is && !isLeft ? EBUSY : 0;
}

int takeIn(int folder, const char* name, const Descriptor& copy)
{
    const std::string base = name;
    const auto is = isInTransaction(folder, base);
    if (!is) return is.problem().code;
    const auto journal = disk::openFile(folder, (base + std::string{*is ? kRollback : kLog}).c_str());
    if (!journal) return journal.problem().code == ENOENT ? 0 : journal.problem().code;
    return *is ? takeBack(*journal, copy) : takeInLog(*journal, copy);
}

} // namespace braid::journals
