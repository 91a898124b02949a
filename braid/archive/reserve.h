#pragma once

namespace braid
{

/// Room on the local disk for what a pass writes to the archive. A full disk would otherwise keep the pass from running
/// at all, and what was changed on it from getting to the other home. Between passes an empty file holds the room;
/// during a pass the archive's log has it. Where the file system cannot set room aside there is none.
class Reserve
{
public:
    /// Of the home with this marker folder, which stays open.
    explicit Reserve(int markerFolder) : mFolder(markerFolder) {}

    /// The disk has little room, or none.
    bool isNeeded() const;

    /// Gives the file's room free, for the archive to be opened; false: there was none.
    bool release();

    /// Sets room aside for the log of the open archive, which nothing else takes before the archive is closed: as much
    /// as most passes need, or most of what the file held.
    void giveToLog();

    /// Holds the room again, or what is left of it, once the archive is closed; where nothing was held before and the
    /// disk has room enough, for the first time.
    void hold();

private:
    int mFolder;
    bool mIsReleased = false;
};

} // namespace braid
