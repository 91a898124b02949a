#pragma once

#include <algorithm>
#include <cstdint>
#include <filesystem>
#include <memory>
#include <optional>
#include <set>
#include <string>

#include "braid/disk/descriptor.h"
#include "braid/disk/facts.h"
#include "braid/disk/problem.h"
#include "braid/peers.h"
#include "braid/text/folding.h"

namespace braid
{

/// Who a home is. Lies in `.Braid/replica` at its top.
struct Marker {
    std::string id;               ///< 32 hexadecimal digits, random, for ever.
    std::uint64_t generation = 0; ///< Counted up by every pass that writes to the home.
};

/// One home, held open by its root folder for the length of a pass. Every path below is home-relative.
class Home
{
public:
    /// Opens the folder and reads its marker; writes nothing.
    static Outcome<std::unique_ptr<Home>> open(Peer peer, const std::filesystem::path& folder);

    Peer peer() const { return mPeer; }
    int root() const { return mRoot.number(); }
    std::uint64_t device() const { return mRootStat.device; }
    /// The folder that `stat` tells of is this home itself, which two mounts can bring into each other's sight.
    bool isTop(const Stat& stat) const
    {
        return stat.kind == Kind::Folder && stat.inode == mRootStat.inode && stat.device == mRootStat.device;
    }
    const std::string& pathText() const { return mPath; }
    const std::optional<Marker>& marker() const { return mMarker; }

    Outcome<Descriptor> openFolder(std::string_view path) const;

    /// Makes the marker folder, a new identity where there is none (or where it is `foreignId`, which another home
    /// already has), and this pair's staging folder. `stagingName` tells computers that share a network home apart.
    std::optional<Problem> prepare(const std::string& foreignId);
    std::optional<Problem> openStaging(const std::string& stagingName);
    int staging() const { return mStaging.number(); }
    int markerFolder() const { return mMarkerFolder.number(); }

    /// Finds out which names the home takes for the same: by a file of its own in the marker folder, or, where that
    /// is not there and must not be made, by what lies at the top.
    void learnFolding(bool mayWrite);
    const text::NameFolding& folding() const { return mFolding; }

    /// The home's own clock when the staging folder was opened, in nanoseconds; a file server's may differ from ours.
    std::int64_t openedAt() const { return mOpenedAt; }
    /// The same for this moment.
    std::int64_t now() const;
    /// The home's own clock read again; nothing where it cannot be.
    std::optional<std::int64_t> readClock() const;

    /// Counts up the generation, durable when it returns.
    std::optional<Problem> countUpGeneration();
    /// Looks up how far `computer` has counted. Of a home that several computers share this tells more than the
    /// marker: others may have counted on since it came back from a backup.
    std::optional<Problem> learnGenerationOf(const std::string& computer);
    /// The last generation that this computer has counted up to, as the home tells it. Where a pass came to its end
    /// between the two files that tell, the lower one counts.
    std::uint64_t ownGeneration() const
    {
        return mOwnGenerationFile.empty() ? mMarker->generation : std::min(mOwnGeneration, mMarker->generation);
    }

    /// The held root still is what its path leads to, and carries the marker that was read at the start.
    std::optional<Problem> checkStillThere() const;

    /// Everything written so far is on the disk; `folders` are those whose entries changed.
    std::optional<Problem> makeDurable(const std::set<std::string>& folders) const;
    /// Files need a flush of their own before makeDurable().
    bool flushesEachFile() const { return !mSyncsAsAWhole; }

private:
    Home() = default;
    bool isOurs(const std::optional<Marker>& marker) const;
    using Rename = int (*)(int fromFolder, const char* from, int toFolder, const char* to);
    std::optional<Problem> writeMarker(const Marker& marker, Rename rename) const;
    int replaceFile(const std::string& name, const std::string& text, Rename rename) const;

    Peer mPeer = Peer::Local;
    std::string mPath;
    Descriptor mRoot;
    Stat mRootStat;
    Descriptor mMarkerFolder;
    Descriptor mStaging;
    std::optional<Marker> mMarker;
    text::NameFolding mFolding;
    std::int64_t mOpenedAt = 0;
    std::int64_t mOpenedAtHere = 0; // by this computer's clock
    std::string mWriter;            // "" or who writes the marker besides others
    std::string mOwnGenerationFile; // "" where nobody else counts
    std::uint64_t mOwnGeneration = 0;
    bool mSyncsAsAWhole = false;
};

/// Why these two folders cannot be synced with each other, in words, or nothing. Writes nothing.
std::optional<std::string> whyNotHomes(const std::filesystem::path& local, const std::filesystem::path& network);

} // namespace braid
