#pragma once

#include <filesystem>

namespace braid::cli
{

/// Root, who decides something in another's home, becomes the home's owner for good: the engine's files there stay the
/// owner's. Everybody else, and a home that cannot be looked at, is left as it is. False when root cannot.
bool becomeOwnerOf(const std::filesystem::path& home);

} // namespace braid::cli
