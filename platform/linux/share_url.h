#pragma once

#include <cstdint>
#include <string>
#include <string_view>

namespace platform
{

/// The scheme of a URL in small letters; "" when it has none.
std::string schemeOf(std::string_view url);

/// What a `file://` URL leads to.
struct FileShare {
    std::int32_t error = 0; ///< 0, or an errno value: malformed, on another computer, missing, no folder.
    std::string folder;     ///< Absolute, without a slash at its end.
};

/// The share is the folder itself, so that finding it is all there is to mounting it.
FileShare openFileShare(std::string_view url);

/// A path as shares are known by: without slashes at its end.
std::string sharePath(std::string_view path);

} // namespace platform
