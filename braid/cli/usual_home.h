#pragma once

#include <filesystem>
#include <string>
#include <vector>

namespace braid::cli
{

/// The home that a command without one means: the one that the working folder lies in. Throws a usage error where that
/// is in none that was ever synced.
std::filesystem::path usualHome();

/// Takes the home off the front of what was typed: an absolute path, which no item of a home has, or a folder that was
/// synced. Where there is none it is the usual one.
std::filesystem::path takeHome(std::vector<std::string>& typed);

} // namespace braid::cli
