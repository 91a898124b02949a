#include "listing.h"

#include <algorithm>
#include <cerrno>

#include "calls.h"
#include "journals.h"
#include "seam.h"
#include "system.h"

namespace braid
{

bool neverSyncs(std::string_view name)
{
    // Some servers write names in a case of their own, and to others an item of that name would be the marker folder.
    constexpr std::string_view kMarker = ".braid";
    const auto isLetterOf = [](char one, char other) {
        return one == other || (one >= 'A' && one <= 'Z' && (one | 0x20) == other);
    };
    return std::ranges::equal(name, kMarker, isLetterOf) || name == ".vexlc" || name.starts_with(".fstemp");
}

void lookAt(int folder, std::span<Listing::Item> items)
{
    for (Listing::Item& item : items) {
        const auto stat = disk::statAt(folder, item.name.c_str());
        if (stat) {
            item.stat = *stat;
        } else {
            item.error = stat.problem().code;
        }
    }
}

Listing listFolder(int root, std::uint64_t device, const std::string& path,
                   const std::function<void(int folder, std::span<Listing::Item> items)>& lookAtAll, bool joinsJournals)
{
    Listing listing;
    const auto fail = [&](int code) {
        listing.problem = Problem{code, "list the folder", path};
        listing.items.clear();
        return std::move(listing);
    };

    auto folder = disk::openFolder(root, path);
    if (!folder) return fail(folder.problem().code);
    if (int code = seam::ask(seam::Operation::List, folder->number(), std::string{nameOf(path)}.c_str()))
        return fail(code);
    std::vector<std::string> names;
    if (disk::system().listNames(folder->number(), names) < 0) return fail(errno);
    std::ranges::sort(names);
    listing.items.reserve(names.size());
    for (std::string& name : names) {
        if (neverSyncs(name)) {
            listing.hasOwnNames = true;
        } else {
            listing.items.push_back({std::move(name), {}, 0});
        }
    }
    lookAtAll(folder->number(), listing.items);
    for (Listing::Item& item : listing.items) {
        if (item.stat.kind == Kind::Folder && item.stat.device != device) item.stat.kind = Kind::Other;
    }
    // Deleted since it was listed: as if it had not been there.
    std::erase_if(listing.items,
                  [](const Listing::Item& item) { return item.error == 0 && item.stat.kind == Kind::Absent; });
    if (joinsJournals) journals::join(folder->number(), listing.items);
    return listing;
}

} // namespace braid
