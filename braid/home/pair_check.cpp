#include <cerrno>

#include "braid/disk/calls.h"
#include "braid/disk/system.h"
#include "home.h"

namespace braid
{

namespace
{

struct Identity {
    std::uint64_t device = 0;
    std::uint64_t inode = 0;
    bool operator==(const Identity&) const = default;
};

Identity identityOf(int descriptor)
{
    const auto stat = disk::statOf(descriptor);
    return stat ? Identity{stat->device, stat->inode} : Identity{};
}

/// One of the folders above `folder` is `sought`.
bool liesInside(int folder, Identity sought)
{
    auto at = disk::openParent(folder);
    Identity last = identityOf(folder);
    while (at) {
        const Identity here = identityOf(at->number());
        if (here == sought) return true;
        if (here == last) return false; // the top is its own parent
        last = here;
        at = disk::openParent(at->number());
    }
    return false;
}

std::optional<std::string> whyNotAHome(Peer peer, const std::filesystem::path& folder, Descriptor& opened)
{
    std::string name = homeWords(peer);
    name[0] = 'T';
    const std::string subject = name + " (" + folder.native() + ")";
    if (folder.empty()) return name + " is not set.";
    auto top = disk::openTop(folder.native());
    if (!top) {
        const int code = top.problem().code;
        if (code == ENOENT) return subject + " does not exist.";
        if (code == ENOTDIR) return subject + " is not a folder.";
        return subject + " cannot be opened: " + errorWords(code) + ".";
    }
    opened = std::move(*top);
    if (disk::system().mayWrite(opened.number()) < 0) {
        return subject + " cannot be written to: " + errorWords(errno) + ".";
    }
    return std::nullopt;
}

} // namespace

std::optional<std::string> whyNotHomes(const std::filesystem::path& local, const std::filesystem::path& network)
{
    Descriptor localRoot;
    Descriptor networkRoot;
    if (auto reason = whyNotAHome(Peer::Local, local, localRoot)) return reason;
    if (auto reason = whyNotAHome(Peer::Network, network, networkRoot)) return reason;
    const Identity localIdentity = identityOf(localRoot.number());
    const Identity networkIdentity = identityOf(networkRoot.number());
    if (localIdentity == networkIdentity) return "The local home and the network home are the same folder.";
    if (liesInside(localRoot.number(), networkIdentity)) return "The local home lies inside the network home.";
    if (liesInside(networkRoot.number(), localIdentity)) return "The network home lies inside the local home.";
    return std::nullopt;
}

} // namespace braid
