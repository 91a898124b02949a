#pragma once

#include <filesystem>
#include <set>
#include <string>

namespace braid::agent
{

/// Whether each of these items (home-relative) is in the local home as the last pass left it: then a change that was
/// seen there was the engine's own, or is synced already. Where the archive cannot tell, the answer is no.
bool isAsAgreed(const std::filesystem::path& localHome, const std::set<std::string>& paths);

/// Where the last pass reached the network home, as the kernel sees it; "" when that is not known.
std::string lastNetworkHome(const std::filesystem::path& localHome);

} // namespace braid::agent
