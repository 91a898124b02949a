#pragma once

#include <array>
#include <cstdint>
#include <string>
#include <string_view>

#include "descriptor.h"

/// The two kinds of journals that SQLite keeps, as its documentation of the file format describes them.
namespace braid::journals
{

/// A log, which holds what is to be written into the database, begins so.
bool isLogStart(std::string_view bytes);
/// A rollback journal, which holds what was in the database before the transaction, begins so until that has ended.
bool isRollbackStart(std::string_view bytes);
inline constexpr std::size_t kStartLength = 8; ///< Bytes that it takes to tell.

/// Reads numbers and pages from a journal, from wherever the file's position is.
class JournalReader
{
public:
    int problem() const { return mProblem; } ///< An errno value: there may be more in the journal than was read.
    std::uint32_t pageSize() const { return mPageSize; }

protected:
    explicit JournalReader(const Descriptor& file) : mFile(file) {}
    /// False: fewer bytes follow, or problem().
    bool readAll(std::string& bytes);
    bool moveTo(std::int64_t offset);
    /// False: no database has pages of this size.
    bool setPageSize(std::uint32_t size);

    const Descriptor& mFile;
    int mProblem = 0;

private:
    std::uint32_t mPageSize = 0;
};

/// Checks and reads the frames of a log one after the other.
class LogReader : public JournalReader
{
public:
    explicit LogReader(const Descriptor& file) : JournalReader(file) {}

    /// False: this is no log that holds anything, or problem().
    bool begin();
    /// False: no further frame that belongs to this log, or problem().
    bool next();

    std::uint32_t pageNumber() const;
    std::uint32_t pagesAfterCommit() const; ///< 0: the transaction goes on.
    std::string_view page() const { return std::string_view{mFrame}.substr(kFrameHeader); }

private:
    static constexpr std::size_t kFrameHeader = 24;
    void add(std::string_view bytes);
    bool isSum(std::string_view bytes, std::size_t at) const;

    bool mIsBigEndian = false;
    std::string mSalts;
    std::string mFrame;
    std::array<std::uint32_t, 2> mSum{};
};

/// Reads the pages of a transaction that was never ended one after the other.
class RollbackReader : public JournalReader
{
public:
    explicit RollbackReader(const Descriptor& file) : JournalReader(file) {}

    /// False: it was not written so far that it matters, or problem(). EBUSY: whether the transaction has ended cannot
    /// be told: it is one of several databases, and that is written elsewhere, or the journal makes no sense.
    bool begin();
    /// False: no further page that belongs to it, or problem(). Pages behind pagesBefore() are new in the transaction.
    bool next();

    std::uint32_t pagesBefore() const { return mPagesBefore; } ///< In the database, when the transaction began.
    std::uint32_t pageNumber() const;
    std::string_view page() const { return std::string_view{mRecord}.substr(4, pageSize()); }

private:
    bool readHeader();

    std::int64_t mSize = 0;
    std::int64_t mAt = 0;
    std::uint32_t mSectorSize = 0;
    std::uint32_t mLeft = 0; ///< Records until the next header.
    std::uint32_t mNonce = 0;
    std::uint32_t mPagesBefore = 0;
    std::string mRecord;
};

} // namespace braid::journals
