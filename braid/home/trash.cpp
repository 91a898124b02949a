#include "trash.h"

#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <ctime>
#include <sstream>
#include <vector>

#include "braid/disk/calls.h"
#include "braid/disk/file_system.h"
#include "braid/disk/listing.h"
#include "braid/disk/system.h"

namespace braid
{

namespace
{

constexpr std::time_t kKeepForSeconds = std::time_t{30} * 24 * 60 * 60;
constexpr std::uint64_t kLeastBound = std::uint64_t{1} << 30;
constexpr std::uint64_t kMostBound = std::uint64_t{20} << 30;
constexpr int kMaxVersions = 10000;
constexpr std::size_t kMaxName = 255;
constexpr std::int64_t kNanosecondsPerSecond = 1'000'000'000;

/// "20260131T235959Z-<microseconds>-<process id>": sorts by time.
std::string passName()
{
    const std::int64_t now = disk::system().now();
    const std::time_t seconds = now / kNanosecondsPerSecond;
    std::tm parts{};
    ::gmtime_r(&seconds, &parts);
    std::array<char, 64> text{};
    std::strftime(text.data(), text.size(), "%Y%m%dT%H%M%SZ", &parts);
    const std::int64_t micros = now % kNanosecondsPerSecond / 1000;
    return std::string{text.data()} + "-" + std::to_string(micros) + "-" + std::to_string(::getpid());
}

/// A tenth of the disk, within bounds.
std::uint64_t boundFor(int descriptor)
{
    return std::clamp(disk::capacityOf(descriptor) / 10, kLeastBound, kMostBound);
}

} // namespace

namespace
{

/// What is known of the time that went by, in seconds. A clock that was set forward must not make everything too old.
struct TrashClock {
    std::time_t last = 0;   ///< When a pass looked; 0: never.
    std::time_t credit = 0; ///< By how much the clock jumped ahead of what passes saw go by.
    std::string newest;     ///< The last pass folder when the trash was last found to be within its bound.
};

constexpr const char* kClockFile = "trash-clock";
constexpr std::time_t kDay = std::time_t{24} * 60 * 60;
constexpr std::time_t kBelievedAtOnce = 3 * kDay; // longer without a pass may be a holiday or a wrong clock

TrashClock readClock(int markerFolder)
{
    TrashClock clock;
    const auto file = disk::openFile(markerFolder, kClockFile);
    const auto text = file ? disk::readSmall(file->number(), 512) : Outcome<std::string>{file.problem()};
    if (!text) return clock;
    std::istringstream{*text} >> clock.last >> clock.credit >> clock.newest;
    clock.credit = std::max<std::time_t>(clock.credit, 0);
    return clock;
}

/// False where nothing is worth writing down.
bool advance(TrashClock& clock, std::time_t now)
{
    const std::time_t passed = clock.last == 0 ? 0 : now - clock.last;
    if (clock.last != 0 && passed >= 0 && passed < kDay) return false;
    // Set back again: what was once taken for a jump need not be made up for any longer.
    clock.credit += passed < 0 ? passed : std::max<std::time_t>(0, passed - kBelievedAtOnce);
    clock.credit = std::max<std::time_t>(clock.credit, 0);
    clock.last = now;
    return true;
}

void writeClock(int markerFolder, const TrashClock& clock)
{
    const auto file = disk::openToWrite(markerFolder, kClockFile, true);
    if (!file) return; // then nothing is believed to have gone by next time
    std::ostringstream text;
    text << clock.last << ' ' << clock.credit << ' ' << clock.newest << '\n';
    disk::rewrite(file->number(), text.str());
}

} // namespace

std::optional<std::time_t> timeOfTrashedPass(const std::string& name)
{
    std::tm parts{};
    if (!::strptime(name.c_str(), "%Y%m%dT%H%M%SZ", &parts)) return std::nullopt;
    return ::timegm(&parts);
}

Trash::Trash(Home& home) : mHome(home), mPassName(passName()) {}

Outcome<Descriptor> Trash::ownFolder(std::string_view homeFolder)
{
    if (!mPass) {
        const int marker = mHome.markerFolder();
        if (int code = disk::makeFolder(marker, "trash", 0700); code != 0 && code != EEXIST) {
            return Problem{code, "make the trash", ".Braid/trash"};
        }
        const auto trash = disk::openFolder(marker, "trash");
        if (!trash) return trash.problem();
        if (int code = disk::makeFolder(trash->number(), mPassName.c_str(), 0700); code != 0 && code != EEXIST) {
            return Problem{code, "make the trash", ".Braid/trash"};
        }
        auto pass = disk::openFolder(trash->number(), mPassName);
        if (!pass) return pass.problem();
        mPass = std::move(*pass);
    }
    // An item that was once a file here may be a folder now; then this version goes beside it.
    auto present = disk::openFolder(mPass.number(), homeFolder);
    if (present || present.problem().code != ENOENT || homeFolder.empty()) return present;

    auto parent = ownFolder(folderOf(homeFolder));
    if (!parent) return parent;
    const std::string name{nameOf(homeFolder)};
    const int code = disk::makeFolder(parent->number(), name.c_str(), 0700);
    if (code != 0 && code != EEXIST) return Problem{code, "make the trash", std::string{homeFolder}};
    return disk::openFolder(parent->number(), name);
}

int Trash::keep(int folder, const char* name, std::string_view homePath, const Stat& seen, Kept* kept)
{
    const std::string homeFolder{folderOf(homePath)};
    if (!mLast || homeFolder != mLastFolder) {
        std::string place = homeFolder;
        auto opened = ownFolder(place);
        // A version of another kind lies in the way: keep this one at the top, under its name alone.
        if (!opened && (opened.problem().code == ENOTDIR || opened.problem().code == ELOOP)) {
            place.clear();
            opened = ownFolder(place);
        }
        if (!opened) return opened.problem().code;
        mLast = std::move(*opened);
        mLastFolder = homeFolder;
        mLastPlace = std::move(place);
    }
    const std::string base{nameOf(homePath)};
    std::string own = base;
    int code = disk::renameNew(folder, name, mLast.number(), own.c_str());
    for (int version = 2; code == EEXIST && version < kMaxVersions; ++version) {
        const std::string suffix = "~" + std::to_string(version);
        own = base.substr(0, std::min(base.size(), kMaxName - suffix.size())) + suffix;
        code = disk::renameNew(folder, name, mLast.number(), own.c_str());
    }
    if (code != 0) return code;

    const auto moved = disk::statAt(mLast.number(), own.c_str());
    if (moved && kept) *kept = {*moved, mLastPlace, own};
    if (moved && isSameContentAfterRename(*moved, seen)) return 0;
    const int back = disk::renameNew(mLast.number(), own.c_str(), folder, name);
    return back == 0 ? EAGAIN : back; // it stays in the trash when its place was taken meanwhile
}

int Trash::putBack(const Kept& kept, int folder, const char* name)
{
    const auto place = ownFolder(kept.folder);
    return place ? disk::renameNew(place->number(), kept.name.c_str(), folder, name) : place.problem().code;
}

void Trash::expire()
{
    const auto trash = disk::openFolder(mHome.markerFolder(), "trash");
    if (!trash) return;
    const Listing listing = listFolder(trash->number(), mHome.device(), "");
    if (listing.problem) return;

    std::string newest;
    for (const Listing::Item& item : listing.items) {
        if (item.stat.kind == Kind::Folder && timeOfTrashedPass(item.name)) newest = item.name;
    }
    TrashClock clock = readClock(mHome.markerFolder());
    const std::time_t now = disk::system().now() / kNanosecondsPerSecond;
    const bool isAsMeasured = clock.newest == newest && clock.last != 0;
    const bool hasMoved = advance(clock, now);
    if (hasMoved || !isAsMeasured) {
        clock.newest = newest;
        writeClock(mHome.markerFolder(), clock);
    }
    const std::uint64_t bound = boundFor(trash->number());
    std::uint64_t total = 0;
    // From the newest back: what no longer fits, and all before it, goes.
    for (auto item = listing.items.rbegin(); item != listing.items.rend(); ++item) {
        if (item->name == mPassName || item->stat.kind != Kind::Folder) continue;
        const auto time = timeOfTrashedPass(item->name);
        if (!time) continue;
        const bool tooOld = now - clock.credit - *time > kKeepForSeconds;
        // Nothing came since all of it was measured, which on a file server takes a while.
        if (!tooOld && total <= bound && !isAsMeasured) total += disk::bytesBelow(trash->number(), item->name);
        // What came last may fill the bound alone: nobody has had the time to miss it.
        const bool isOverBound = total > bound && item->name != newest;
        if (tooOld || isOverBound) disk::removeTree(trash->number(), item->name.c_str());
    }
}

} // namespace braid
