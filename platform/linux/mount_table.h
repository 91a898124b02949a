#pragma once

#include <optional>
#include <string>
#include <vector>

namespace platform
{

/// What is mounted where in this process's view, as the kernel lists it; asking it never waits for a file system.
class MountTable
{
public:
    struct Mount {
        std::string point;
        std::string type;
    };

    explicit MountTable(std::vector<Mount> mounts) : mMounts(std::move(mounts)) {}

    /// The present mounts.
    static MountTable read();

    /// The mount point on the way to `path` (absolute, as the kernel sees it) whose file system may keep its caller
    /// waiting: a server, a process, an automounter, anything that is not known to be this computer's own disk or
    /// memory. Null when there is none. Links are followed; nothing on such a file system is touched to find out.
    std::optional<std::string> farMountOf(const std::string& path) const;

private:
    bool isFar(const std::string& folder) const;

    std::vector<Mount> mMounts;
};

} // namespace platform
