#include "usual_home.h"

#include <CLI/CLI.hpp>

namespace braid::cli
{

namespace fs = std::filesystem;

namespace
{

/// A folder that cannot be looked into was not.
bool wasSynced(const fs::path& folder)
{
    std::error_code error;
    return fs::exists(folder / ".Braid" / "replica", error);
}

} // namespace

fs::path usualHome()
{
    std::error_code error;
    for (fs::path folder = fs::current_path(error); !folder.empty(); folder = folder.parent_path()) {
        if (wasSynced(folder)) return folder;
        if (folder == folder.parent_path()) break;
    }
    throw CLI::ValidationError{"which home? The working folder lies in none that was ever synced"};
}

fs::path takeHome(std::vector<std::string>& typed)
{
    // A variable that was not set must not turn into another home.
    if (!typed.empty() && typed.front().empty())
        throw CLI::ValidationError{"an empty word names neither home nor item"};
    if (typed.empty() || !(typed.front().starts_with('/') || wasSynced(typed.front()))) return usualHome();
    const fs::path home = typed.front();
    typed.erase(typed.begin());
    return home;
}

} // namespace braid::cli
