#include "reserve.h"

#include <algorithm>
#include <string>

#include "archive_file.h"
#include "braid/disk/calls.h"

namespace braid
{

namespace
{

constexpr const char* kFile = "reserve";
constexpr std::uint64_t kHeld = std::uint64_t{1} << 20;
constexpr std::uint64_t kLittle = 16 * kHeld;
constexpr std::uint64_t kLog = 4 * kHeld;
constexpr std::uint64_t kIndex = std::uint64_t{32} << 10;    // of the first 16 MB of log
constexpr std::uint64_t kItsNotes = std::uint64_t{16} << 10; // what the file system itself may write about the room

} // namespace

bool Reserve::isNeeded() const
{
    return disk::freeRoomOf(mFolder) < kLittle;
}

bool Reserve::isExhausted() const
{
    return !mIsReleased && disk::freeRoomOf(mFolder) < 2 * kIndex;
}

bool Reserve::release()
{
    return mIsReleased = disk::unlink(mFolder, kFile) == 0;
}

void Reserve::giveToLog()
{
    const auto log = disk::openToWrite(mFolder, (std::string{kArchiveFile} + "-wal").c_str(), false);
    if (!log) return;
    // Most of what is free is for the home's files.
    const std::uint64_t some = std::min(kLog, disk::freeRoomOf(mFolder) / 8);
    if (!mIsReleased) {
        if (!isFull(disk::setRoomAside(log->number(), some)) || !release()) return; // else a quota
    }
    if (isFull(disk::setRoomAside(log->number(), kHeld / 4 * 3))) disk::setRoomAside(log->number(), kHeld / 4);
}

void Reserve::hold()
{
    const auto stat = disk::statAt(mFolder, kFile);
    if (!stat || (stat->exists() && isNeeded())) return; // it has what it has
    const auto file = disk::openToWrite(mFolder, kFile, true);
    if (!file) return;
    const std::uint64_t free = disk::freeRoomOf(mFolder);
    // Where nothing was released others keep half; the file system may still be about to free the log's room.
    const std::uint64_t most = mIsReleased || free > 2 * kHeld ? kHeld : free / 2;
    int code = 0;
    for (const std::uint64_t room : {most, free, free - std::min(free, kItsNotes), kHeld / 2}) {
        code = disk::setRoomAside(file->number(), std::min(room, most));
        if (!isFull(code)) break;
    }
    if (code != 0) disk::unlink(mFolder, kFile);
}

} // namespace braid
