#pragma once

#include <filesystem>

namespace braid::cli
{

/// Root at another's home becomes the home's owner for good: the engine's files there stay the owner's, and a pass does
/// what the owner's own would do. Everybody else, and a home that cannot be looked at, is left as it is. False when
/// root cannot.
bool becomeOwnerOf(const std::filesystem::path& home);

} // namespace braid::cli
