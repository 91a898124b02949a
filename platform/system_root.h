#pragma once

#include <string>
#include <string_view>

namespace platform
{

/// Where a product path really lies: the system root in front of absolute paths below /Library, /System, /Volumes and
/// /Network; every other path (homes, /dev, /proc) as it is. The root is ROAMER_ROOT, which a privileged process
/// ignores, else the build's ROAMER_SYSTEM_ROOT. Used only in the call that opens the path.
std::string systemPath(std::string_view path);

/// The root that ROAMER_ROOT names: a world of its own for development and tests. "" in an installed or privileged
/// process.
std::string developmentRoot();

} // namespace platform
