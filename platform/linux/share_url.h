#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <variant>

#include "platform/file_system.h"

namespace platform
{

/// The scheme of a URL in small letters; "" when it has none.
std::string schemeOf(std::string_view url);

/// The folder that a `file://` URL names.
struct FileSharePlace {
    std::int32_t error = 0; ///< 0, or an errno value: malformed, on another computer.
    std::string folder;     ///< Absolute, without a slash at its end; not looked at.
};
FileSharePlace placeOfFileShare(std::string_view url);

/// What a `file://` URL leads to.
struct FileShare {
    std::int32_t error = 0; ///< 0, or an errno value: malformed, on another computer, missing, no folder.
    std::string folder;     ///< Absolute, without a slash at its end.
};

/// The share is the folder itself, so that finding it is all there is to mounting it.
FileShare openFileShare(std::string_view url);
/// The same through a file system that may be silent (ETIMEDOUT).
FileShare openFileShare(std::string_view url, FileSystem& files);

/// A share on a server, as `nfs://`, `smb://` and `sftp://` URLs name it.
struct ServerShare {
    std::string scheme;     ///< In small letters.
    std::string domain;     ///< Of the name, as in `smb://DOMAIN;name@server`; "" when the URL has none.
    std::string user;       ///< "" when the URL has none.
    std::string host;       ///< Without the brackets of an IPv6 address.
    std::uint16_t port = 0; ///< 0: the scheme's own.
    std::string path;       ///< Absolute, without a slash at its end.

    /// The host with the brackets that a colon in it needs.
    std::string bracketedHost() const { return host.find(':') == std::string::npos ? host : "[" + host + "]"; }
};

/// An errno value for what is no such URL, or cannot be handed to a mount client as plain text: a name that would read
/// as an option, control characters, a way up out of the path. A password in the URL is left out.
std::variant<ServerShare, std::int32_t> parseServerShare(std::string_view url);

/// Whether the text can stand for a person in a mount client's options.
bool isPlainUserName(std::string_view name);

/// A path as shares are known by: without slashes at its end.
std::string sharePath(std::string_view path);

} // namespace platform
