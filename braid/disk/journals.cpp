#include "journals.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstring>
#include <memory>

#include "calls.h"
#include "content.h"
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

constexpr std::string_view kRollbackStart{"\xd9\xd5\x05\xf9\x20\xa1\x63\xd7", 8};
constexpr std::uint32_t kLogMagic = 0x377f0682; // the lowest bit tells in which order checksums read their words

std::uint32_t number(std::string_view bytes, std::size_t at)
{
    std::uint32_t value = 0;
    for (std::size_t i = 0; i < 4; ++i)
        value = value << 8 | static_cast<unsigned char>(bytes[at + i]);
    return value;
}

/// "" where nothing, a link or a folder has the name.
Outcome<std::string> beginningOf(int folder, const std::string& name, std::size_t length)
{
    const auto file = disk::openFile(folder, name.c_str());
    const auto text = file ? disk::readSmall(file->number(), length) : Outcome<std::string>{file.problem()};
    const bool isNoFile =
        !text && (text.problem().code == ENOENT || text.problem().code == ELOOP || text.problem().code == EISDIR);
    return isNoFile ? Outcome<std::string>{std::string{}} : text;
}

/// As a name of its own, or of a journal whose database was never written to.
Outcome<bool> isDatabase(int folder, const Listing::Item& item)
{
    if (item.stat.size > 0) {
        const auto start = beginningOf(folder, item.name, kDatabaseStart.size());
        if (!start) return start.problem();
        return isDatabaseStart(*start);
    }
    const auto log = beginningOf(folder, item.name + std::string{kLog}, 4);
    if (!log) return log.problem();
    if (log->size() == 4 && (number(*log, 0) | 1) == (kLogMagic | 1)) return true;
    const auto journal = beginningOf(folder, item.name + std::string{kRollback}, kRollbackStart.size());
    if (!journal) return journal.problem();
    return *journal == kRollbackStart;
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

/// Checks and reads the frames of a log one after the other.
class LogReader
{
public:
    explicit LogReader(const Descriptor& file) : mFile(file) {}

    /// False: this is no log that holds anything, or problem().
    bool begin()
    {
        std::string header(32, '\0');
        mSum = {};
        if (disk::system().lseek(mFile.number(), 0, SEEK_SET) < 0) {
            mProblem = errno;
            return false;
        }
        if (!readAll(header)) return false;
        const std::uint32_t magic = number(header, 0);
        if ((magic | 1) != (kLogMagic | 1)) return false;
        mIsBigEndian = (magic & 1) != 0;
        mPageSize = number(header, 8);
        if (mPageSize < 512 || mPageSize > 65536 || (mPageSize & (mPageSize - 1)) != 0) return false;
        mSalts = header.substr(16, 8);
        add(std::string_view{header}.substr(0, 24));
        mFrame.resize(24 + mPageSize);
        return isSum(header, 24);
    }
    /// False: no further frame that belongs to this log, or problem().
    bool next()
    {
        if (!readAll(mFrame) || mFrame.compare(8, 8, mSalts) != 0) return false;
        add(std::string_view{mFrame}.substr(0, 8));
        add(page());
        return isSum(mFrame, 16);
    }

    int problem() const { return mProblem; } ///< An errno value: there may be more in the log than was read.
    std::uint32_t pageSize() const { return mPageSize; }
    std::uint32_t pageNumber() const { return number(mFrame, 0); }
    std::uint32_t pagesAfterCommit() const { return number(mFrame, 4); } ///< 0: the transaction goes on.
    std::string_view page() const { return std::string_view{mFrame}.substr(24); }

private:
    bool readAll(std::string& bytes)
    {
        std::size_t have = 0;
        while (have < bytes.size()) {
            if ((mProblem = seam::ask(seam::Operation::Read, mFile.number(), "")) != 0) return false;
            const ssize_t got = disk::system().read(mFile.number(), bytes.data() + have, bytes.size() - have);
            if (got < 0 && errno == EINTR) continue;
            if (got < 0) mProblem = errno;
            if (got <= 0) return false;
            have += static_cast<std::size_t>(got);
        }
        return true;
    }
    void add(std::string_view bytes)
    {
        const auto word = [&](std::size_t at) {
            const std::uint32_t big = number(bytes, at);
            return mIsBigEndian ? big : __builtin_bswap32(big);
        };
        for (std::size_t at = 0; at + 8 <= bytes.size(); at += 8) {
            mSum[0] += word(at) + mSum[1];
            mSum[1] += word(at + 4) + mSum[0];
        }
    }
    bool isSum(std::string_view bytes, std::size_t at) const
    {
        return number(bytes, at) == mSum[0] && number(bytes, at + 4) == mSum[1];
    }

    const Descriptor& mFile;
    bool mIsBigEndian = false;
    std::uint32_t mPageSize = 0;
    std::string mSalts;
    std::string mFrame;
    std::array<std::uint32_t, 2> mSum{};
    int mProblem = 0;
};

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

int checkNotInTransaction(int folder, const std::string& name)
{
    const auto journal = beginningOf(folder, name + std::string{kRollback}, kRollbackStart.size());
    if (!journal) return journal.problem().code;
    return *journal == kRollbackStart ? EBUSY : 0;
}

int takeIn(int folder, const char* name, const Descriptor& copy)
{
    const std::string base = name;
    if (int code = checkNotInTransaction(folder, base)) return code;
    const auto log = disk::openFile(folder, (base + std::string{kLog}).c_str());
    if (!log) return log.problem().code == ENOENT ? 0 : log.problem().code;

    // What follows the last commit never happened.
    LogReader reader{*log};
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
    if (!reader.begin()) return EAGAIN;
    for (std::size_t frame = 0; frame < committed; ++frame) {
        if (!reader.next() || reader.pageNumber() == 0) return EAGAIN;
        const std::int64_t offset = std::int64_t{reader.pageNumber() - 1} * reader.pageSize();
        if (int code = writeAt(copy.number(), offset, reader.page())) return code;
    }
    return disk::system().ftruncate(copy.number(), std::int64_t{pages} * reader.pageSize()) < 0 ? errno : 0;
}

} // namespace braid::journals
