#include "platform/system_root.h"

#include <algorithm>
#include <array>
#include <cstdlib>

namespace platform
{

namespace
{

constexpr std::array<std::string_view, 4> kProductFolders = {"/Library", "/System", "/Volumes", "/Network"};

bool isBelow(std::string_view path, std::string_view folder)
{
    return path.starts_with(folder) && (path.size() == folder.size() || path[folder.size()] == '/');
}

std::string_view systemRoot()
{
    const char* root = secure_getenv("ROAMER_ROOT");
    std::string_view text = root != nullptr && *root != '\0' ? root : ROAMER_SYSTEM_ROOT;
    while (text.ends_with('/'))
        text.remove_suffix(1);
    return text;
}

} // namespace

std::string systemPath(std::string_view path)
{
    const bool isProducts = std::any_of(kProductFolders.begin(), kProductFolders.end(),
                                        [path](std::string_view folder) { return isBelow(path, folder); });
    return isProducts ? std::string(systemRoot()).append(path) : std::string(path);
}

} // namespace platform
