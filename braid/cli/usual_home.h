#pragma once

#include <filesystem>
#include <string>
#include <vector>

namespace braid::cli
{

/// The local home that a command without one means: the one that the working folder lies in, else the person's own.
/// Throws a usage error where neither was ever synced.
std::filesystem::path usualHome();

/// Takes the home off the front of what was typed: an absolute path, which no item of a home has, or a folder that was
/// synced. Where there is none it is the usual one.
std::filesystem::path takeHome(std::vector<std::string>& typed);

} // namespace braid::cli
