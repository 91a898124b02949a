#include "usual_home.h"

#include <CLI/CLI.hpp>

#include <cstdlib>

namespace braid::cli
{

namespace fs = std::filesystem;

namespace
{

/// A folder that cannot be looked into is none.
bool holds(const fs::path& folder, const char* file)
{
    std::error_code error;
    return fs::exists(folder / ".Braid" / file, error);
}

bool isLocalHome(const fs::path& folder)
{
    return holds(folder, "archive.sqlite"); // the network home has a marker, too
}

} // namespace

fs::path usualHome()
{
    std::error_code error;
    for (fs::path folder = fs::current_path(error); !folder.empty(); folder = folder.parent_path()) {
        if (isLocalHome(folder)) return folder;
        if (folder == folder.parent_path()) break;
    }
    const char* own = std::getenv("HOME");
    if (own && isLocalHome(own)) return own;
    throw CLI::ValidationError{"which home? Neither the working folder nor your home folder was ever synced"};
}

fs::path takeHome(std::vector<std::string>& typed)
{
    if (typed.empty() || !(typed.front().starts_with('/') || holds(typed.front(), "replica"))) return usualHome();
    const fs::path home = typed.front();
    typed.erase(typed.begin());
    return home;
}

} // namespace braid::cli
