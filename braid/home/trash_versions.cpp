#include "trash_versions.h"

#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <stop_token>

#include "beside.h"
#include "braid/disk/calls.h"
#include "braid/disk/content.h"
#include "braid/disk/extended.h"
#include "braid/disk/file_system.h"
#include "braid/disk/journals.h"
#include "braid/disk/listing.h"
#include "home.h"
#include "trash.h"

namespace braid
{

namespace
{

constexpr const char* kTrash = ".Braid/trash";

/// Everything at and below `folder` of one pass.
std::optional<Problem> collect(const Home& home, const std::string& pass, std::vector<TrashedVersion>& versions)
{
    std::vector<std::string> folders{""};
    const std::string top = joinPath(kTrash, pass);
    while (!folders.empty()) {
        const std::string folder = std::move(folders.back());
        folders.pop_back();
        const Listing listing =
            listFolder(home.root(), home.device(), folder.empty() ? top : joinPath(top, folder), lookAt, true);
        if (listing.problem) return listing.problem;
        for (const auto& item : listing.items) {
            const std::string path = joinPath(folder, item.name);
            if (item.stat.kind == Kind::Folder) {
                folders.push_back(path);
            } else {
                versions.push_back({pass, timeOfTrashedPass(pass).value_or(0), path, item.stat});
            }
        }
        if (listing.items.empty() && !folder.empty()) {
            Stat stat;
            stat.kind = Kind::Folder;
            versions.push_back({pass, timeOfTrashedPass(pass).value_or(0), folder, stat});
        }
    }
    return std::nullopt;
}

Outcome<Descriptor> ensureFolders(const Home& home, const std::string& path)
{
    constexpr std::uint16_t kAsTheUserMakesThem = 0777; // less the umask
    auto present = home.openFolder(path);
    if (present || present.problem().code != ENOENT) return present;
    const auto parent = ensureFolders(home, std::string{folderOf(path)});
    if (!parent) return parent.problem();
    const int code = disk::makeFolder(parent->number(), std::string{nameOf(path)}.c_str(), kAsTheUserMakesThem);
    if (code != 0 && code != EEXIST) return Problem{code, "make the folder", path};
    return home.openFolder(path);
}

/// A finished, durable copy of the version under a name of its own in the marker folder. True: it is a database.
Outcome<bool> makeCopy(int source, const std::string& name, const Stat& stat, int folder, const std::string& copyName)
{
    bool isDatabase = false;
    if (stat.kind == Kind::Link) {
        const auto target = disk::readLink(source, name.c_str());
        if (!target) return target.problem();
        if (int code = disk::makeLink(folder, copyName.c_str(), *target)) return Problem{code, "copy it", name};
    } else {
        const auto from = disk::openFile(source, name.c_str());
        if (!from) return from.problem();
        const auto to = disk::createFile(folder, copyName.c_str());
        if (!to) return to.problem();
        const auto copied = copyContent(*from, stat, *to, {}, [](std::uint64_t) {});
        if (!copied) return copied.problem();
        isDatabase = copied->isDatabase || stat.journals != Journals::None;
        const int takenIn = stat.journals == Journals::Live ? journals::takeIn(source, name.c_str(), *to) : 0;
        if (takenIn != 0) return Problem{takenIn, "take its log in", name};
        const auto attributes = extended::copyOpen(from->number(), to->number());
        if (!attributes) return attributes.problem();
        if (int code = disk::setMode(folder, copyName.c_str(), stat.mode)) return Problem{code, "copy it", name};
        if (int code = disk::syncFile(to->number())) return Problem{code, "copy it", name};
    }
    if (stat.kind == Kind::Link && !disk::holdsLinksApart(folder)) return false;
    if (int code = disk::setModifiedTime(folder, copyName.c_str(), stat.mtime)) return Problem{code, "copy it", name};
    return isDatabase;
}

/// Tries names until one is free; `place` answers 0, EEXIST or another errno value.
template <class Place>
Outcome<std::string> placeBeside(const TrashedVersion& version, Place place)
{
    const std::string name{nameOf(version.path)};
    std::string wanted = name;
    for (unsigned attempt = 1; attempt <= kMostNamesBeside; ++attempt) {
        const int code = place(wanted.c_str());
        if (code == 0) return joinPath(folderOf(version.path), wanted);
        if (code != EEXIST) return Problem{code, "restore it", version.path};
        wanted = nameBeside(name, "trash", version.stat.mtime, false, attempt);
    }
    return Problem{EEXIST, "restore it", version.path};
}

} // namespace

Outcome<std::vector<TrashedVersion>> listTrash(const std::filesystem::path& folder)
{
    const auto home = Home::open(Peer::Local, folder);
    if (!home) return home.problem();
    std::vector<TrashedVersion> versions;
    const Listing passes = listFolder((*home)->root(), (*home)->device(), kTrash);
    if (passes.problem) {
        if (passes.problem->code == ENOENT) return versions;
        return *passes.problem;
    }
    for (const auto& pass : passes.items) {
        if (pass.stat.kind != Kind::Folder || !timeOfTrashedPass(pass.name)) continue;
        if (auto problem = collect(**home, pass.name, versions)) return *problem;
    }
    std::ranges::sort(versions, [](const TrashedVersion& one, const TrashedVersion& other) {
        return one.pass != other.pass ? one.pass > other.pass : one.path < other.path;
    });
    return versions;
}

Outcome<std::string> restoreVersion(const std::filesystem::path& folder, const TrashedVersion& version)
{
    const auto home = Home::open(Peer::Local, folder);
    if (!home) return home.problem();
    const std::string homeFolder{folderOf(version.path)};
    const auto target = ensureFolders(**home, homeFolder);
    if (!target) return target.problem();
    if (version.stat.kind == Kind::Folder) {
        const auto made = ensureFolders(**home, version.path);
        if (!made) return made.problem();
        return version.path;
    }
    const std::string pass = joinPath(kTrash, version.pass);
    const auto source = (*home)->openFolder(homeFolder.empty() ? pass : joinPath(pass, homeFolder));
    if (!source) return source.problem();
    const auto marker = (*home)->openFolder(".Braid");
    if (!marker) return marker.problem();

    const std::string copy = "restored-" + std::to_string(::getpid());
    disk::unlink(marker->number(), copy.c_str()); // left by a process of that number that was killed
    const auto isDatabase =
        makeCopy(source->number(), std::string{nameOf(version.path)}, version.stat, marker->number(), copy);
    if (!isDatabase) {
        disk::unlink(marker->number(), copy.c_str());
        return Problem{isDatabase.problem().code, isDatabase.problem().call, version.path};
    }
    const auto placed = placeBeside(version, [&](const char* name) {
        const int in = target->number();
        if (*isDatabase && journals::areBeside(in, name)) return EEXIST; // those of another version
        if (journals::wouldBelong(in, name)) return EEXIST;
        return disk::renameNew(marker->number(), copy.c_str(), in, name);
    });
    if (!placed) disk::unlink(marker->number(), copy.c_str());
    return placed;
}

Outcome<std::size_t> emptyTrash(const std::filesystem::path& folder, std::time_t before)
{
    const auto home = Home::open(Peer::Local, folder);
    if (!home) return home.problem();
    const Listing passes = listFolder((*home)->root(), (*home)->device(), kTrash);
    if (passes.problem) {
        if (passes.problem->code == ENOENT) return std::size_t{0};
        return *passes.problem;
    }
    const auto trash = (*home)->openFolder(kTrash);
    if (!trash) return trash.problem();
    std::size_t removed = 0;
    for (const auto& pass : passes.items) {
        const auto time = timeOfTrashedPass(pass.name);
        if (pass.stat.kind != Kind::Folder || !time || *time >= before) continue;
        if (int code = disk::removeTree(trash->number(), pass.name.c_str())) {
            return Problem{code, "empty the trash", joinPath(kTrash, pass.name)};
        }
        ++removed;
    }
    return removed;
}

} // namespace braid
