#include "home.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <charconv>

#include "braid/disk/calls.h"
#include "braid/disk/file_system.h"
#include "braid/disk/seam.h"
#include "braid/disk/system.h"

namespace braid
{

namespace
{

constexpr const char* kMarkerFolder = ".Braid";
constexpr const char* kReplicaFile = "replica";
constexpr const char* kNewReplicaFile = "replica.new-";
constexpr const char* kGenerationFile = ".generation"; // behind the computer that writes it
constexpr std::size_t kMostBytes = 256;                // of either
constexpr std::size_t kIdDigits = 32;
constexpr std::uint16_t kPrivate = 0700;

std::optional<Problem> problemIf(int code, const char* call, const std::string& path)
{
    if (code == 0) return std::nullopt;
    return Problem{code, call, path};
}

std::string newId()
{
    constexpr std::string_view kDigits = "0123456789abcdef";
    std::array<unsigned char, kIdDigits / 2> bytes{};
    disk::system().randomBytes(bytes.data(), bytes.size());
    std::string id;
    for (const unsigned char byte : bytes) {
        id += kDigits[byte >> 4];
        id += kDigits[byte & 15];
    }
    return id;
}

bool isId(std::string_view text)
{
    return text.size() == kIdDigits &&
           std::ranges::all_of(text, [](char c) { return (c >= '0' && c <= '9') || (c >= 'a' && c <= 'f'); });
}

/// "id <32 digits>\ngeneration <number>\n"; anything else is no marker.
std::optional<Marker> parseMarker(std::string_view text)
{
    constexpr std::string_view kId = "id ";
    constexpr std::string_view kGeneration = "\ngeneration ";
    if (!text.starts_with(kId)) return std::nullopt;
    text.remove_prefix(kId.size());
    if (text.size() < kIdDigits || !isId(text.substr(0, kIdDigits))) return std::nullopt;
    Marker marker{std::string{text.substr(0, kIdDigits)}, 0};
    text.remove_prefix(kIdDigits);
    if (!text.starts_with(kGeneration)) return std::nullopt;
    text.remove_prefix(kGeneration.size());
    const auto [end, code] = std::from_chars(text.data(), text.data() + text.size(), marker.generation);
    if (code != std::errc{} || end == text.data()) return std::nullopt;
    return marker;
}

/// A small file of the marker folder. Nothing where there is none; a problem where it cannot be told.
Outcome<std::optional<std::string>> readText(int root, const std::string& name)
{
    const auto folder = disk::openFolder(root, kMarkerFolder);
    if (!folder) {
        if (folder.problem().code == ENOENT) return std::optional<std::string>{};
        return folder.problem();
    }
    const auto file = disk::openFile(folder->number(), name.c_str());
    if (!file) {
        if (file.problem().code == ENOENT) return std::optional<std::string>{};
        return file.problem();
    }
    auto text = disk::readSmall(file->number(), kMostBytes);
    if (!text) return Problem{text.problem().code, "read the marker", joinPath(kMarkerFolder, name)};
    return std::optional<std::string>{std::move(*text)};
}

/// Nothing where there is no marker; a problem where it cannot be told.
Outcome<std::optional<Marker>> readMarker(int root)
{
    const auto text = readText(root, kReplicaFile);
    if (!text) return text.problem();
    return *text ? parseMarker(**text) : std::nullopt;
}

/// The folder `name` below `parent`, made if need be.
Outcome<Descriptor> ensureFolder(int parent, const std::string& name)
{
    const int code = disk::makeFolder(parent, name.c_str(), kPrivate);
    if (code != 0 && code != EEXIST) return Problem{code, "make the folder", name};
    return disk::openFolder(parent, name);
}

} // namespace

Outcome<std::unique_ptr<Home>> Home::open(Peer peer, const std::filesystem::path& folder)
{
    std::unique_ptr<Home> home{new Home};
    home->mPeer = peer;
    home->mPath = folder.native();
    auto root = disk::openTop(folder.native());
    if (!root) return root.problem();
    home->mRoot = std::move(*root);
    seam::belongsTo(peer, home->root());
    auto stat = disk::statOf(home->root());
    if (!stat) return stat.problem();
    home->mRootStat = *stat;
    home->mSyncsAsAWhole = disk::syncsAsAWhole(home->root());
    auto marker = readMarker(home->root());
    if (!marker) return marker.problem();
    home->mMarker = *marker;
    return home;
}

Outcome<Descriptor> Home::openFolder(std::string_view path) const
{
    return disk::openFolder(root(), path);
}

std::optional<Problem> Home::prepare(const std::string& foreignId)
{
    auto folder = ensureFolder(root(), kMarkerFolder);
    if (!folder) return folder.problem();
    mMarkerFolder = std::move(*folder);
    mWriter = foreignId;
    if (mMarker && mMarker->id != foreignId) return std::nullopt;

    const Marker marker{newId(), 0};
    auto problem = writeMarker(marker, mMarker ? disk::renameOver : disk::renameNew);
    if (problem && problem->code == EEXIST) {
        // Another computer met this home at the same moment and was first: then it is the one that it says.
        const auto present = readMarker(root());
        if (!present) return present.problem();
        mMarker = *present;
        if (mMarker) return mMarker->id != foreignId ? std::nullopt : problem;
        problem = writeMarker(marker, disk::renameOver); // what lies there is damaged and says nothing
    }
    if (!problem) mMarker = marker;
    return problem;
}

std::optional<Problem> Home::openStaging(const std::string& stagingName)
{
    auto all = ensureFolder(mMarkerFolder.number(), "staging");
    if (!all) return all.problem();
    auto own = ensureFolder(all->number(), stagingName);
    if (!own) return own.problem();
    mStaging = std::move(*own);

    // "Now" is written by whoever keeps the disk, so reading it back tells that machine's time.
    if (int code = disk::stampNow(staging())) return Problem{code, "write to the folder", ".Braid/staging"};
    auto stat = disk::statOf(staging());
    if (!stat) return stat.problem();
    mOpenedAt = stat->mtime;
    mOpenedAtHere = disk::system().now();
    return std::nullopt;
}

std::optional<std::int64_t> Home::readClock() const
{
    if (disk::stampNow(staging()) != 0) return std::nullopt;
    const auto stat = disk::statOf(staging());
    if (!stat) return std::nullopt;
    return stat->mtime;
}

std::int64_t Home::now() const
{
    return mOpenedAt + (disk::system().now() - mOpenedAtHere);
}

std::optional<Problem> Home::writeMarker(const Marker& marker, Rename rename) const
{
    const std::string text = "id " + marker.id + "\ngeneration " + std::to_string(marker.generation) + "\n";
    int code = replaceFile(kReplicaFile, text, rename);
    if (code == 0) code = disk::syncFile(mMarkerFolder.number());
    return problemIf(code, "write the marker", ".Braid/replica");
}

/// Under its name once it is flushed, which that name is not yet.
int Home::replaceFile(const std::string& name, const std::string& text, Rename rename) const
{
    const int folder = mMarkerFolder.number();
    // Computers that share a network home write it at the same time; none may rename another's unfinished text.
    const std::string newFile = kNewReplicaFile + mWriter;
    disk::unlink(folder, newFile.c_str()); // left by a pass that was killed here
    auto file = disk::createFile(folder, newFile.c_str());
    if (!file) return file.problem().code;
    if (int code = disk::rewrite(file->number(), text)) return code;
    if (int code = disk::syncFile(file->number())) return code;
    const int code = rename(folder, newFile.c_str(), folder, name.c_str());
    if (code != 0) disk::unlink(folder, newFile.c_str());
    return code;
}

std::optional<Problem> Home::learnGenerationOf(const std::string& computer)
{
    mOwnGenerationFile = computer + kGenerationFile;
    const auto text = readText(root(), mOwnGenerationFile);
    if (!text) return text.problem();
    mOwnGeneration = 0;
    if (*text) std::from_chars((*text)->data(), (*text)->data() + (*text)->size(), mOwnGeneration);
    return std::nullopt;
}

bool Home::isOurs(const std::optional<Marker>& marker) const
{
    return marker && mMarker && marker->id == mMarker->id;
}

std::optional<Problem> Home::countUpGeneration()
{
    // Another computer may have counted meanwhile: always go up from what is there.
    const auto present = readMarker(root());
    if (!present) return present.problem();
    if (!isOurs(*present)) return Problem{ESTALE, "recognise the home", mPath};
    Marker next = present->value_or(Marker{});
    ++next.generation;
    if (!mOwnGenerationFile.empty()) {
        // First, so that flushing the marker's name flushes this one's, too.
        const int code = replaceFile(mOwnGenerationFile, std::to_string(next.generation) + "\n", disk::renameOver);
        if (code != 0) return Problem{code, "write the marker", joinPath(kMarkerFolder, mOwnGenerationFile)};
    }
    if (auto problem = writeMarker(next, disk::renameOver)) return problem;
    mMarker = next;
    mOwnGeneration = next.generation;
    return std::nullopt;
}

std::optional<Problem> Home::checkStillThere() const
{
    const auto now = disk::statPath(mPath);
    if (!now) return Problem{now.problem().code, "reach the home", mPath};
    if (!now->exists()) return Problem{ENOENT, "reach the home", mPath};
    if (now->inode != mRootStat.inode || now->device != mRootStat.device)
        return Problem{ESTALE, "recognise the home", mPath};
    const auto marker = readMarker(root());
    if (!marker) return marker.problem();
    if (!isOurs(*marker)) return Problem{ESTALE, "recognise the home", mPath};
    return std::nullopt;
}

std::optional<Problem> Home::makeDurable(const std::set<std::string>& folders) const
{
    if (mSyncsAsAWhole) return problemIf(disk::syncFileSystem(root()), "write to the disk", mPath);
    for (const std::string& path : folders) {
        const auto folder = openFolder(path);
        if (!folder) continue; // gone since: nothing in it to keep
        if (int code = disk::syncFile(folder->number())) return Problem{code, "write to the disk", path};
    }
    return problemIf(disk::syncFile(staging()), "write to the disk", mPath);
}

} // namespace braid
