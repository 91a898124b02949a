#include "reserve.h"

#include <algorithm>
#include <string>

#include "archive_file.h"
#include "braid/disk/calls.h"

namespace braid::reserve
{

namespace
{

constexpr const char* kFile = "reserve";
constexpr std::uint64_t kHeld = std::uint64_t{1} << 20;
constexpr std::uint64_t kLittle = 16 * kHeld;
constexpr std::uint64_t kLog = 4 * kHeld;
constexpr std::uint64_t kItsNotes = kHeld / 64; // what the file system itself may write about the room

} // namespace

bool isNeeded(int markerFolder)
{
    return disk::freeRoomOf(markerFolder) < kLittle;
}

bool release(int markerFolder)
{
    return disk::unlink(markerFolder, kFile) == 0;
}

void giveToLog(int markerFolder, bool hasReleased)
{
    const auto log = disk::openToWrite(markerFolder, (std::string{kArchiveFile} + "-wal").c_str(), false);
    if (!log) return;
    // Most of what is free is for the home's files; and an attempt that fails may leave nothing to anybody.
    const std::uint64_t free = disk::freeRoomOf(markerFolder);
    const std::uint64_t released = hasReleased ? std::min(kHeld, free) / 4 * 3 : 0;
    disk::setRoomAside(log->number(), std::min(kLog, std::max(free / 8, released)));
}

void hold(int markerFolder, bool hasReleased)
{
    const auto stat = disk::statAt(markerFolder, kFile);
    if (!stat || stat->exists()) return;
    const std::uint64_t free = disk::freeRoomOf(markerFolder);
    if (free <= kItsNotes || (free < kLittle && !hasReleased)) return;
    const auto file = disk::createFile(markerFolder, kFile);
    if (file && disk::setRoomAside(file->number(), std::min(kHeld, free - kItsNotes)) != 0) {
        disk::unlink(markerFolder, kFile);
    }
}

} // namespace braid::reserve
