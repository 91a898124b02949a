#pragma once

#include <cstdint>

namespace braid
{

/// Room on the local disk for what a pass writes to the archive. A full disk would otherwise keep the pass from running
/// at all, and what was changed on it from getting to the other home. An empty file holds the room; on a short disk the
/// archive's log has it during the pass. Where the file system cannot set room aside there is none.
class Reserve
{
public:
    /// Of the home with this marker folder, which stays open.
    explicit Reserve(int markerFolder) : mFolder(markerFolder) {}

    /// The disk has little room, or none.
    bool isNeeded() const;
    /// Even with what was released there is not what the log's index takes. SQLite maps it, and a page that finds no
    /// room there ends the process.
    bool isExhausted() const;

    /// Gives the file's room free, for the archive to be opened; false: there was none.
    bool release();

    /// Sets room aside for the log of the open archive, which nothing else takes before the archive is closed: as much
    /// as most passes need, or most of what was released.
    void giveToLog();

    /// Holds the room again, or what is left of it, once the archive is closed.
    void hold();

private:
    int mFolder;
    std::uint64_t mReleased = 0; // bytes
};

} // namespace braid
