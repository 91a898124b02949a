#include "journal_readers.h"

#include <cerrno>

#include "calls.h"
#include "seam.h"
#include "system.h"

namespace braid::journals
{

namespace
{

constexpr std::string_view kRollbackStart{"\xd9\xd5\x05\xf9\x20\xa1\x63\xd7", kStartLength};
constexpr std::uint32_t kLogMagic = 0x377f0682; // the lowest bit tells in which order checksums read their words

std::uint32_t number(std::string_view bytes, std::size_t at)
{
    std::uint32_t value = 0;
    for (std::size_t i = 0; i < 4; ++i)
        value = value << 8 | static_cast<unsigned char>(bytes[at + i]);
    return value;
}

bool isPowerOfTwo(std::uint32_t value)
{
    return value != 0 && (value & (value - 1)) == 0;
}

} // namespace

bool isLogStart(std::string_view bytes)
{
    return bytes.size() >= 4 && (number(bytes, 0) | 1) == (kLogMagic | 1);
}

bool isRollbackStart(std::string_view bytes)
{
    return bytes.starts_with(kRollbackStart);
}

bool JournalReader::readAll(std::string& bytes)
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

bool JournalReader::moveTo(std::int64_t offset)
{
    if (disk::system().lseek(mFile.number(), offset, SEEK_SET) >= 0) return true;
    mProblem = errno;
    return false;
}

bool JournalReader::setPageSize(std::uint32_t size)
{
    mPageSize = size;
    return size >= 512 && size <= 65536 && isPowerOfTwo(size);
}

bool LogReader::begin()
{
    std::string header(32, '\0');
    mSum = {};
    if (!moveTo(0) || !readAll(header) || !isLogStart(header)) return false;
    mIsBigEndian = (number(header, 0) & 1) != 0;
    if (!setPageSize(number(header, 8))) return false;
    mSalts = header.substr(16, 8);
    add(std::string_view{header}.substr(0, 24));
    mFrame.resize(kFrameHeader + pageSize());
    return isSum(header, 24);
}

bool LogReader::next()
{
    if (!readAll(mFrame) || mFrame.compare(8, 8, mSalts) != 0) return false;
    add(std::string_view{mFrame}.substr(0, 8));
    add(page());
    return isSum(mFrame, 16);
}

std::uint32_t LogReader::pageNumber() const
{
    return number(mFrame, 0);
}

std::uint32_t LogReader::pagesAfterCommit() const
{
    return number(mFrame, 4);
}

void LogReader::add(std::string_view bytes)
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

bool LogReader::isSum(std::string_view bytes, std::size_t at) const
{
    return number(bytes, at) == mSum[0] && number(bytes, at + 4) == mSum[1];
}

bool RollbackReader::begin()
{
    const auto stat = disk::statOf(mFile.number());
    if (!stat) {
        mProblem = stat.problem().code;
        return false;
    }
    mSize = stat->size;
    constexpr std::int64_t kNamesOthers = 16; // the length of a name, its sum, and the start of a journal once more
    if (mSize >= kNamesOthers) {
        std::string end(kNamesOthers, '\0');
        if (!moveTo(mSize - kNamesOthers) || !readAll(end)) return false;
        if (end.ends_with(kRollbackStart) && number(end, 0) != 0) {
            mProblem = EBUSY;
            return false;
        }
    }
    mAt = 0;
    return readHeader();
}

/// The next one begins on a sector of its own.
bool RollbackReader::readHeader()
{
    constexpr std::uint32_t kAllThatFollow = 0xffffffff;
    if (mAt > 0) mAt += (mSectorSize - mAt % mSectorSize) % mSectorSize;
    std::string header(28, '\0');
    if (!moveTo(mAt) || !readAll(header) || !isRollbackStart(header)) return false;
    mLeft = number(header, 8);
    mNonce = number(header, 12);
    if (mAt == 0) {
        mPagesBefore = number(header, 16);
        mSectorSize = number(header, 20);
        const bool isSector = mSectorSize >= 32 && mSectorSize <= 65536 && isPowerOfTwo(mSectorSize);
        if (!setPageSize(number(header, 24)) || !isSector) {
            mProblem = EBUSY;
            return false;
        }
        mRecord.resize(4 + pageSize() + 4);
    }
    mAt += mSectorSize;
    if (mAt > mSize) return false; // not all of the header was written, so the database was not either
    if (mLeft == kAllThatFollow) mLeft = static_cast<std::uint32_t>((mSize - mAt) / static_cast<int>(mRecord.size()));
    return moveTo(mAt);
}

bool RollbackReader::next()
{
    while (mLeft == 0) {
        if (!readHeader()) return false;
    }
    if (!readAll(mRecord)) return false;
    --mLeft;
    mAt += static_cast<std::int64_t>(mRecord.size());
    if (pageNumber() == 0) return false;
    if (pageNumber() > mPagesBefore) return true; // SQLite passes over it, whatever it holds
    constexpr std::size_t kSumStep = 200;
    std::uint32_t sum = mNonce;
    for (std::size_t at = pageSize() - kSumStep; at > 0 && at < pageSize(); at -= kSumStep)
        sum += static_cast<unsigned char>(page()[at]);
    return sum == number(mRecord, 4 + pageSize());
}

std::uint32_t RollbackReader::pageNumber() const
{
    return number(mRecord, 0);
}

} // namespace braid::journals
