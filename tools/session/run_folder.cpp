#include "run_folder.h"

#include <cerrno>
#include <cstring>
#include <dirent.h>
#include <fcntl.h>
#include <memory>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include "environment.h"
#include "platform/system_root.h"

namespace roamer::session
{

namespace
{

using platform::UniqueFd;

// Others pass through it to their own bus, but neither list nor change it.
constexpr mode_t kFolderMode = 0711;
constexpr mode_t kBusFolderMode = 0700;

struct Place {
    std::string parent;
    std::string path;
};

std::optional<Place> place()
{
    if (!trustedVariable("ROAMER_ROOT").empty()) {
        const auto library = platform::systemPath("/Library");
        return Place{library, library + "/Session"};
    }
    if (::geteuid() == 0) return Place{"/run/roamer", "/run/roamer/session"};
    const auto runtime = trustedVariable("XDG_RUNTIME_DIR");
    if (runtime.empty()) return std::nullopt;
    return Place{runtime, runtime + "/roamer-session"};
}

std::string lockName(const platform::UserEntry& user)
{
    return std::to_string(user.uid) + ".lock";
}

std::string busName(const platform::UserEntry& user)
{
    return std::to_string(user.uid) + ".bus";
}

/// Sockets only lie in it; of a folder that somebody put there the name stays.
void removeContents(const UniqueFd& folder)
{
    const int copy = ::fcntl(folder.get(), F_DUPFD_CLOEXEC, 0);
    const std::unique_ptr<DIR, int (*)(DIR*)> listing(copy >= 0 ? ::fdopendir(copy) : nullptr, &::closedir);
    if (listing == nullptr) return;
    while (const dirent* entry = ::readdir(listing.get()))
        ::unlinkat(folder.get(), entry->d_name, 0);
}

} // namespace

std::variant<RunFolder, std::string> RunFolder::open()
{
    const auto where = place();
    if (!where) return "XDG_RUNTIME_DIR is not set, so there is no place for this login's message bus";
    ::mkdir(where->parent.c_str(), 0755);
    ::mkdir(where->path.c_str(), kFolderMode);
    UniqueFd folder(::open(where->path.c_str(), O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC));
    if (!folder.isOpen()) return "the folder \"" + where->path + "\" cannot be used: " + std::strerror(errno);
    struct stat facts {
    };
    const bool isOurs = ::fstat(folder.get(), &facts) == 0 && facts.st_uid == ::geteuid();
    if (!isOurs || ::fchmod(folder.get(), kFolderMode) != 0) {
        return "the folder \"" + where->path + "\" belongs to somebody else";
    }
    return RunFolder(where->path, std::move(folder));
}

std::optional<UniqueFd> RunFolder::tryLock(const platform::UserEntry& user) const
{
    UniqueFd lock(::openat(mFolder.get(), lockName(user).c_str(), O_RDWR | O_CREAT | O_NOFOLLOW | O_CLOEXEC, 0600));
    if (!lock.isOpen() || ::flock(lock.get(), LOCK_EX | LOCK_NB) != 0) return std::nullopt;
    return lock;
}

std::string RunFolder::makeBusFolder(const platform::UserEntry& user) const
{
    removeBusFolder(user);
    const auto name = busName(user);
    if (::mkdirat(mFolder.get(), name.c_str(), kBusFolderMode) != 0) return "";
    const bool isTheirs = user.uid == ::geteuid() ||
                          ::fchownat(mFolder.get(), name.c_str(), user.uid, user.gid, AT_SYMLINK_NOFOLLOW) == 0;
    return isTheirs ? mPath + "/" + name : "";
}

void RunFolder::removeBusFolder(const platform::UserEntry& user) const
{
    const auto name = busName(user);
    // The folder is the user's: names in it may be anything, and only names in it are taken away.
    const UniqueFd folder(::openat(mFolder.get(), name.c_str(), O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC));
    if (folder.isOpen()) removeContents(folder);
    ::unlinkat(mFolder.get(), name.c_str(), AT_REMOVEDIR);
}

} // namespace roamer::session
