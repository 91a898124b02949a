#include "trash.h"

#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <charconv>
#include <ctime>
#include <vector>

#include "braid/disk/calls.h"
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
    if (present || present.problem().code != ENOENT) return present;

    std::string made;
    while (made.size() < homeFolder.size()) {
        const auto slash = homeFolder.find('/', made.empty() ? 0 : made.size() + 1);
        const std::string next{homeFolder.substr(0, slash)};
        const auto parent = disk::openFolder(mPass.number(), made);
        if (!parent) return parent.problem();
        const int code = disk::makeFolder(parent->number(), std::string{nameOf(next)}.c_str(), 0700);
        if (code != 0 && code != EEXIST) return Problem{code, "make the trash", next};
        made = next;
    }
    return disk::openFolder(mPass.number(), homeFolder);
}

int Trash::keep(int folder, const char* name, std::string_view homePath, const Stat& seen)
{
    const std::string homeFolder{folderOf(homePath)};
    if (!mLast || homeFolder != mLastFolder) {
        auto opened = ownFolder(homeFolder);
        // A version of another kind lies in the way: keep this one at the top, under its name alone.
        if (!opened && (opened.problem().code == ENOTDIR || opened.problem().code == ELOOP)) opened = ownFolder("");
        if (!opened) return opened.problem().code;
        mLast = std::move(*opened);
        mLastFolder = homeFolder;
    }
    const std::string base{nameOf(homePath)};
    std::string kept = base;
    int code = disk::renameNew(folder, name, mLast.number(), kept.c_str());
    for (int version = 2; code == EEXIST && version < kMaxVersions; ++version) {
        const std::string suffix = "~" + std::to_string(version);
        kept = base.substr(0, std::min(base.size(), kMaxName - suffix.size())) + suffix;
        code = disk::renameNew(folder, name, mLast.number(), kept.c_str());
    }
    if (code != 0) return code;

    const auto moved = disk::statAt(mLast.number(), kept.c_str());
    if (moved && isSameContentAfterRename(*moved, seen)) return 0;
    const int back = disk::renameNew(mLast.number(), kept.c_str(), folder, name);
    return back == 0 ? EAGAIN : back; // it stays in the trash when its place was taken meanwhile
}

void Trash::expire()
{
    const auto trash = disk::openFolder(mHome.markerFolder(), "trash");
    if (!trash) return;
    const Listing listing = listFolder(trash->number(), mHome.device(), "");
    if (listing.problem) return;

    const std::time_t now = disk::system().now() / kNanosecondsPerSecond;
    const std::uint64_t bound = boundFor(trash->number());
    std::uint64_t total = 0;
    // From the newest back: what no longer fits, and all before it, goes.
    for (auto item = listing.items.rbegin(); item != listing.items.rend(); ++item) {
        if (item->name == mPassName || item->stat.kind != Kind::Folder) continue;
        const auto time = timeOfTrashedPass(item->name);
        if (!time) continue;
        const bool tooOld = now - *time > kKeepForSeconds;
        if (!tooOld && total <= bound) total += disk::bytesBelow(trash->number(), item->name);
        if (tooOld || total > bound) disk::removeTree(trash->number(), item->name.c_str());
    }
}

} // namespace braid
