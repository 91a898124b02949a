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

std::string_view withoutEndingSlashes(std::string_view text)
{
    while (text.ends_with('/'))
        text.remove_suffix(1);
    return text;
}

std::string_view chosenRoot()
{
    const char* root = secure_getenv("ROAMER_ROOT");
    return root != nullptr ? root : std::string_view{};
}

std::string_view systemRoot()
{
    return withoutEndingSlashes(chosenRoot().empty() ? ROAMER_SYSTEM_ROOT : chosenRoot());
}

} // namespace

std::string systemPath(std::string_view path)
{
    const bool isProducts = std::any_of(kProductFolders.begin(), kProductFolders.end(),
                                        [path](std::string_view folder) { return isBelow(path, folder); });
    return isProducts ? std::string(systemRoot()).append(path) : std::string(path);
}

std::string developmentRoot()
{
    return std::string(withoutEndingSlashes(chosenRoot()));
}

} // namespace platform
