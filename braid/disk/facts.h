#pragma once

#include <cstdint>
#include <string>
#include <string_view>

namespace braid
{

enum class Kind : std::uint8_t {
    Absent = 0,
    File = 1,
    Folder = 2,
    Link = 3,
    Other = 4, ///< A socket, pipe or device, or a folder that another file system is mounted on.
};

/// Whether an SQLite database has journals beside it, for which it then speaks (see disk/journals.h).
enum class Journals : std::uint8_t {
    None,
    Idle, ///< They hold nothing.
    Live, ///< They hold a part of the content: times are the latest of all, and the file alone tells nothing.
};

/// What statx(2) tells of an item. Times are nanoseconds since 1970 UTC, the size is in bytes.
struct Stat {
    Kind kind = Kind::Absent;
    bool sparse = false; ///< Holds fewer blocks than its size needs.
    Journals journals = Journals::None;
    bool linked = false;    ///< A file with a further name, perhaps in the trash: what is done to it shows there, too.
    std::uint16_t mode = 0; ///< The lower twelve bits; 0 for a link.
    std::uint32_t owner = 0;
    std::uint32_t group = 0;
    std::uint64_t inode = 0;
    std::uint64_t device = 0;
    std::int64_t size = 0;
    std::int64_t mtime = 0;
    std::int64_t ctime = 0;

    bool exists() const { return kind != Kind::Absent; }
};

/// The item is still the one that `seen` describes, to the last detail that the kernel keeps.
inline bool isUnchanged(const Stat& now, const Stat& seen)
{
    if (now.kind != seen.kind) return false;
    if (now.kind == Kind::Absent) return true;
    return now.inode == seen.inode && now.size == seen.size && now.mtime == seen.mtime && now.ctime == seen.ctime &&
           now.mode == seen.mode;
}

/// As above for an item that was renamed in between, which moves its ctime on most file systems.
inline bool isSameContentAfterRename(const Stat& now, const Stat& seen)
{
    return now.kind == seen.kind && now.inode == seen.inode && now.mtime == seen.mtime &&
           (now.kind == Kind::Folder || now.size == seen.size);
}

/// XXH3-128 of a file's content or of a link's target.
struct Digest {
    std::uint64_t high = 0;
    std::uint64_t low = 0;
    bool operator==(const Digest&) const = default;
};

/// Home-relative path: `folder` is "" for the top of the home.
inline std::string joinPath(std::string_view folder, std::string_view name)
{
    std::string path;
    path.reserve(folder.size() + 1 + name.size());
    path.append(folder);
    if (!folder.empty()) path.push_back('/');
    path.append(name);
    return path;
}

inline std::string_view folderOf(std::string_view path)
{
    const auto slash = path.rfind('/');
    return slash == std::string_view::npos ? std::string_view{} : path.substr(0, slash);
}

inline std::string_view nameOf(std::string_view path)
{
    const auto slash = path.rfind('/');
    return slash == std::string_view::npos ? path : path.substr(slash + 1);
}

/// `path` lies below `folder` (and is not the folder itself); everything lies below "".
inline bool liesBelow(std::string_view path, std::string_view folder)
{
    if (folder.empty()) return !path.empty();
    return path.size() > folder.size() && path[folder.size()] == '/' && path.starts_with(folder);
}

} // namespace braid
