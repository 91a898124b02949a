#include "reserve.h"

#include <algorithm>
#include <string>

#include "archive_file.h"
#include "braid/disk/calls.h"
#include "braid/disk/file_system.h"

namespace braid
{

namespace
{

constexpr const char* kFile = "reserve";
constexpr std::uint64_t kHeld = std::uint64_t{1} << 20;
constexpr std::uint64_t kLittle = 16 * kHeld;
constexpr std::uint64_t kLog = 4 * kHeld;
constexpr std::uint64_t kLeast = std::uint64_t{64} << 10;    // twice the index of the first 16 MB of log
constexpr std::uint64_t kItsNotes = std::uint64_t{16} << 10; // what the file system itself may write about the room

} // namespace

bool Reserve::isNeeded() const
{
    return disk::freeRoomOf(mFolder) < kLittle;
}

bool Reserve::isExhausted() const
{
    return std::max(mReleased, disk::freeRoomOf(mFolder)) < kLeast; // what was released may not be free at once
}

bool Reserve::release()
{
    const std::uint64_t room = disk::roomOf(mFolder, kFile);
    if (disk::unlink(mFolder, kFile) != 0) return false;
    mReleased = room;
    return room > 0;
}

void Reserve::giveToLog()
{
    const auto log = disk::openToWrite(mFolder, (std::string{kArchiveFile} + "-wal").c_str(), false);
    if (!log) return;
    // Most of what is free is for the home's files.
    const std::uint64_t some = std::min(kLog, disk::freeRoomOf(mFolder) / 8);
    if (mReleased == 0) {
        if (!isFull(disk::setRoomAside(log->number(), some)) || !release()) return; // else a quota
    }
    if (isFull(disk::setRoomAside(log->number(), mReleased / 4 * 3))) disk::setRoomAside(log->number(), mReleased / 4);
}

void Reserve::hold()
{
    const std::uint64_t free = disk::freeRoomOf(mFolder);
    const bool isShort = free < kLittle;
    const auto stat = disk::statAt(mFolder, kFile);
    if (!stat || (stat->exists() && isShort)) return; // it has what it has
    // Nothing was released where a killed pass has left the room to others, or where none ran on a disk with room.
    const std::uint64_t most = !isShort ? kHeld : mReleased > 0 ? mReleased : std::min(kHeld, free / 8);
    if (most < kLeast) return;
    const auto file = disk::openToWrite(mFolder, kFile, true);
    if (!file) return;
    int code = 0;
    for (const std::uint64_t room : {most, free, free - std::min(free, kItsNotes), most / 2}) {
        code = disk::setRoomAside(file->number(), std::min(room, most));
        if (!isFull(code)) break;
    }
    if (code != 0) disk::unlink(mFolder, kFile);
}

} // namespace braid
