#pragma once

#include <optional>
#include <string>

namespace lobby
{

/// A line of /proc/self/mountinfo.
struct MountEntry {
    std::string device; ///< "major:minor"
    std::string mountPoint;
    std::string fileSystem;

    bool operator==(const MountEntry&) const = default;
};

/// What is mounted at the path, on top of what else may be. The path is absolute and goes over no link.
std::optional<MountEntry> mountAt(const std::string& path);

} // namespace lobby
