#include "extended.h"

#include <fcntl.h>
#include <xxhash.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <functional>
#include <map>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "descriptor.h"
#include "seam.h"
#include "system.h"

namespace braid::extended
{

namespace
{

using Attributes = std::map<std::string, std::string>;

bool isUnsupported(int code)
{
    return code == ENOTSUP || code == ENOSYS;
}

/// Who else may do what with the item, and what new items in a folder begin with.
bool isAccessList(std::string_view key)
{
    return key == "system.posix_acl_access" || key == "system.posix_acl_default";
}

bool travels(std::string_view key)
{
    return key.starts_with("user.") || isAccessList(key);
}

/// Names with a NUL behind each.
std::vector<std::string> separated(std::string_view names)
{
    std::vector<std::string> keys;
    while (!names.empty()) {
        keys.emplace_back(names.substr(0, names.find('\0')));
        names.remove_prefix(std::min(names.size(), keys.back().size() + 1));
    }
    return keys;
}

/// Hardly any item has some, and that takes one call to find out: `list` is a call for the names. False: it has, or
/// there was no telling.
bool hasNone(const std::function<ssize_t(std::span<char> names)>& list)
{
    std::array<char, 256> names;
    const ssize_t length = list(names);
    if (length < 0) return isUnsupported(errno);
    return std::ranges::none_of(separated({names.data(), static_cast<std::size_t>(length)}), travels);
}

bool hasNone(int folder, const char* name)
{
    return hasNone([&](std::span<char> names) {
        return disk::system().llistxattr(folder, name, names.data(), names.size());
    });
}

bool hasNone(int file)
{
    return hasNone([&](std::span<char> names) { return disk::system().flistxattr(file, names.data(), names.size()); });
}

/// The item itself, reached without following a link. Links cannot carry such attributes.
Descriptor hold(int folder, const char* name)
{
    return Descriptor{disk::system().openat(folder, name, O_PATH | O_NOFOLLOW, 0)};
}

Outcome<Attributes> readAll(int item, const char* name)
{
    Attributes attributes;
    ssize_t length = disk::system().flistxattr(item, nullptr, 0);
    if (length == 0) return attributes;
    if (length < 0) {
        if (isUnsupported(errno) || errno == ELOOP) return attributes;
        return Problem{errno, "read its attributes", name};
    }
    std::vector<char> names(static_cast<std::size_t>(length) + 256);
    length = disk::system().flistxattr(item, names.data(), names.size());
    if (length < 0) return Problem{errno == ERANGE ? EAGAIN : errno, "read its attributes", name};

    for (const std::string& key : separated({names.data(), static_cast<std::size_t>(length)})) {
        if (!travels(key)) continue;
        std::string value(65536, '\0'); // the kernel's largest value
        const ssize_t size = disk::system().fgetxattr(item, key.c_str(), value.data(), value.size());
        if (size < 0) {
            if (errno == ENODATA || (isAccessList(key) && isUnsupported(errno))) continue;
            return Problem{errno, "read its attributes", name};
        }
        value.resize(static_cast<std::size_t>(size));
        attributes.emplace(key, std::move(value));
    }
    return attributes;
}

std::uint64_t hash(const Attributes& attributes)
{
    if (attributes.empty()) return 0;
    std::string flat;
    for (const auto& [key, value] : attributes) {
        flat += key;
        flat += '\0';
        flat += std::to_string(value.size());
        flat += '\0';
        flat += value;
    }
    // SQLite keeps 63 bits and a sign: the number goes there as it is, 0 stays reserved for "none".
    const std::uint64_t number = XXH3_64bits(flat.data(), flat.size());
    return number == 0 ? 1 : number;
}

/// `targetDescriptor` is the target, or the folder that holds it.
Outcome<Copied> copyAll(int source, int target, int targetDescriptor, const char* name)
{
    seam::count(seam::Operation::Attributes, targetDescriptor);
    const auto wanted = readAll(source, name);
    if (!wanted) return wanted.problem();
    const auto present = readAll(target, name);
    if (!present) return present.problem();
    const std::uint64_t wantedHash = hash(*wanted);
    if (*wanted == *present) return Copied{wantedHash, wantedHash};

    if (int code = seam::ask(seam::Operation::Restamp, targetDescriptor, name))
        return Problem{code, "set its attributes", name};
    for (const auto& [key, value] : *present) {
        if (!wanted->contains(key)) disk::system().fremovexattr(target, key.c_str());
    }
    for (const auto& [key, value] : *wanted) {
        const auto old = present->find(key);
        if (old != present->end() && old->second == value) continue;
        if (disk::system().fsetxattr(target, key.c_str(), value.data(), value.size()) == 0) continue;
        if (isAccessList(key)) {
            // Not every file system has lists, nor every process the right to set one.
            const bool isRefused = isUnsupported(errno) || errno == EPERM || errno == EACCES || errno == EINVAL;
            if (!isRefused) return Problem{errno, "set its attributes", name};
            continue;
        }
        if (isUnsupported(errno)) return Copied{wantedHash, 0};
        return Problem{errno, "set its attributes", name};
    }
    // Some say that they keep a list, and do not: it would seem to have been taken away there.
    const auto reached = readAll(target, name);
    if (!reached) return reached.problem();
    return Copied{wantedHash, hash(*reached)};
}

} // namespace

Outcome<std::uint64_t> hashOf(int folder, const char* name)
{
    if (int code = seam::ask(seam::Operation::Attributes, folder, name))
        return Problem{code, "read its attributes", name};
    if (hasNone(folder, name)) return 0;
    const Descriptor item = hold(folder, name);
    if (!item) return Problem{errno, "read its attributes", name};
    const auto attributes = readAll(item.number(), name);
    if (!attributes) return attributes.problem();
    return hash(*attributes);
}

Outcome<std::uint64_t> copy(int sourceFolder, const char* source, int targetFolder, const char* target)
{
    if (int code = seam::ask(seam::Operation::Attributes, sourceFolder, source))
        return Problem{code, "read its attributes", source};
    if (hasNone(sourceFolder, source) && hasNone(targetFolder, target)) {
        seam::count(seam::Operation::Attributes, targetFolder);
        return 0;
    }
    const Descriptor from = hold(sourceFolder, source);
    if (!from) return Problem{errno, "read its attributes", source};
    const Descriptor to = hold(targetFolder, target);
    if (!to) return Problem{errno, "read its attributes", target};
    const auto copied = copyAll(from.number(), to.number(), targetFolder, target);
    if (!copied) return copied.problem();
    return copied->target;
}

Outcome<Copied> copyOpen(int sourceFile, int targetFile)
{
    if (int code = seam::ask(seam::Operation::Attributes, sourceFile, ""))
        return Problem{code, "read its attributes", ""};
    if (hasNone(sourceFile) && hasNone(targetFile)) return Copied{}; // a new one may have a list of its folder's
    return copyAll(sourceFile, targetFile, targetFile, "");
}

} // namespace braid::extended
