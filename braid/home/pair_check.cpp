#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>

#include "home.h"

namespace braid
{

namespace
{

struct Identity {
    dev_t device = 0;
    ino_t inode = 0;
    bool operator==(const Identity&) const = default;
};

Identity identityOf(int descriptor)
{
    struct stat facts {
    };
    ::fstat(descriptor, &facts);
    return {facts.st_dev, facts.st_ino};
}

/// One of the folders above `folder` is `sought`.
bool liesInside(int folder, Identity sought)
{
    Descriptor at{::openat(folder, "..", O_PATH | O_DIRECTORY | O_CLOEXEC)};
    Identity last = identityOf(folder);
    while (at) {
        const Identity here = identityOf(at.number());
        if (here == sought) return true;
        if (here == last) return false; // the top is its own parent
        last = here;
        at = Descriptor{::openat(at.number(), "..", O_PATH | O_DIRECTORY | O_CLOEXEC)};
    }
    return false;
}

std::optional<std::string> whyNotAHome(Peer peer, const std::filesystem::path& folder, Descriptor& opened)
{
    std::string name = homeWords(peer);
    name[0] = 'T';
    const std::string subject = name + " (" + folder.native() + ")";
    if (folder.empty()) return name + " is not set.";
    opened = Descriptor{::open(folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC)};
    if (!opened) {
        if (errno == ENOENT) return subject + " does not exist.";
        if (errno == ENOTDIR) return subject + " is not a folder.";
        return subject + " cannot be opened: " + errorWords(errno) + ".";
    }
    if (::faccessat(opened.number(), ".", W_OK | X_OK, AT_EACCESS) < 0) {
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
