#pragma once

/// Room on the local disk for what a pass writes to the archive. A full disk would otherwise keep the pass from running
/// at all, and what was changed on it from getting to the other home. Between passes an empty file holds the room;
/// during a pass the archive's log has it. Where the file system cannot set room aside there is none.
namespace braid::reserve
{

/// The disk has little room, or none.
bool isNeeded(int markerFolder);

/// Gives the file's room free, for the archive to be opened; false: there was none.
bool release(int markerFolder);

/// Sets room aside for the log of the open archive, which nothing else takes before the archive is closed: as much as
/// most passes need, or most of what was released.
void giveToLog(int markerFolder, bool hasReleased);

/// Holds the room again, or what is left of it, once the archive is closed; where nothing was held before and the disk
/// has room enough, for the first time.
void hold(int markerFolder, bool hasReleased);

} // namespace braid::reserve
