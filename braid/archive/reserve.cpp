#include "reserve.h"

#include <algorithm>
#include <cstdint>
#include <string>

#include "archive_file.h"
#include "braid/disk/calls.h"

namespace braid
{

namespace
{

constexpr const char* kFile = "reserve";
constexpr std::uint64_t kHeld = std::uint64_t{1} << 20;
constexpr std::uint64_t kStep = kHeld / 8;
constexpr std::uint64_t kLittle = 16 * kHeld;
constexpr std::uint64_t kLog = 4 * kHeld;
constexpr std::uint64_t kItsNotes = kHeld / 64; // what the file system itself may write about the room

} // namespace

bool Reserve::isNeeded() const
{
    return disk::freeRoomOf(mFolder) < kLittle;
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
    const std::uint64_t some = disk::freeRoomOf(mFolder) / 8;
    const std::uint64_t most = mIsReleased ? std::max(some, std::min(8 * some, kHeld) / 4 * 3) : some;
    if (!isFull(disk::setRoomAside(log->number(), std::min(kLog, most))) || mIsReleased) return;
    release(); // a quota, of which the disk does not tell
    disk::setRoomAside(log->number(), kHeld / 4 * 3);
}

void Reserve::hold()
{
    const auto stat = disk::statAt(mFolder, kFile);
    if (!stat || stat->exists()) return;
    const std::uint64_t free = disk::freeRoomOf(mFolder);
    if (free <= kItsNotes || (free < kLittle && !mIsReleased)) return;
    const auto file = disk::createFile(mFolder, kFile);
    if (!file) return;
    std::uint64_t room = std::min(kHeld, free - kItsNotes);
    int code = disk::setRoomAside(file->number(), room);
    for (; isFull(code) && room > kStep; code = disk::setRoomAside(file->number(), room))
        room -= kStep;
    if (code != 0) disk::unlink(mFolder, kFile);
}

} // namespace braid
