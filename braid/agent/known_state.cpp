#include "known_state.h"

#include <cerrno>
#include <map>

#include <sys/stat.h>

#include "braid/archive/archive.h"

namespace braid::agent
{

namespace
{

constexpr std::int64_t kNanosecondsPerSecond = 1'000'000'000;
constexpr unsigned kModeBits = 07777;

std::int64_t nanoseconds(const timespec& time)
{
    return time.tv_sec * kNanosecondsPerSecond + time.tv_nsec;
}

Kind kindOf(const struct stat& status)
{
    if (S_ISREG(status.st_mode)) return Kind::File;
    if (S_ISDIR(status.st_mode)) return Kind::Folder;
    return S_ISLNK(status.st_mode) ? Kind::Link : Kind::Other;
}

bool isAsAgreed(const std::filesystem::path& path, const Entry* entry)
{
    struct stat status {
    };
    if (::lstat(path.c_str(), &status) != 0) {
        return (errno == ENOENT || errno == ENOTDIR) && (entry == nullptr || entry->kind == Kind::Absent);
    }
    const Kind kind = kindOf(status);
    if (kind == Kind::Other) return true; // nothing that would sync
    if (entry == nullptr || entry->kind != kind || entry->unfinished.local) return false;
    const Stamp& stamp = entry->stamps.local;
    if (kind != Kind::Link && stamp.mode != (status.st_mode & kModeBits)) return false;
    // A folder's other times move with what is in it, of which there are events too.
    if (kind == Kind::Folder) return true;
    if (stamp.inode != status.st_ino || stamp.mtime != nanoseconds(status.st_mtim)) return false;
    if (entry->size != status.st_size) return false;
    return stamp.ctime == 0 || stamp.ctime == nanoseconds(status.st_ctim);
}

} // namespace

bool isAsAgreed(const std::filesystem::path& localHome, const std::set<std::string>& paths)
{
    const auto archive = Archive::openForQuestions(localHome);
    if (!archive || !archive->useLastPair()) return paths.empty();
    std::string folder;
    std::map<std::string, Entry> entries;
    bool isRead = false;
    for (const auto& path : paths) {
        const auto slash = path.rfind('/');
        const auto parent = slash == std::string::npos ? std::string() : path.substr(0, slash);
        if (!isRead || parent != folder) {
            folder = parent;
            entries.clear();
            for (auto& child : archive->children(folder))
                entries.insert_or_assign(std::move(child.name), child.entry);
            isRead = true;
        }
        const auto entry = entries.find(slash == std::string::npos ? path : path.substr(slash + 1));
        if (!isAsAgreed(localHome / path, entry != entries.end() ? &entry->second : nullptr)) return false;
    }
    return !archive->failure();
}

std::string lastNetworkHome(const std::filesystem::path& localHome)
{
    const auto archive = Archive::openForQuestions(localHome);
    const auto pair = archive ? archive->useLastPair() : std::nullopt;
    return pair ? pair->networkHome : std::string();
}

} // namespace braid::agent
