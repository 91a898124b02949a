#include "share_url.h"

#include <algorithm>
#include <cerrno>
#include <charconv>
#include <optional>
#include <set>
#include <sys/stat.h>

#include "platform/system_root.h"

namespace platform
{

namespace
{

constexpr std::string_view kSchemeEnd = "://";
const std::set<std::string_view> kServerSchemes = {"nfs", "smb", "sftp"};

char smallLetter(char c)
{
    return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
}

/// Nothing for a malformed escape and for a NUL, which no path can hold.
std::optional<std::string> percentDecoded(std::string_view text)
{
    std::string decoded;
    decoded.reserve(text.size());
    for (std::size_t i = 0; i < text.size(); ++i) {
        if (text[i] != '%') {
            decoded += text[i];
            continue;
        }
        const auto digits = text.substr(i + 1, 2);
        unsigned value = 0;
        const auto [end, error] = std::from_chars(digits.data(), digits.data() + digits.size(), value, 16);
        if (digits.size() != 2 || error != std::errc() || end != digits.data() + 2 || value == 0) return std::nullopt;
        decoded += static_cast<char>(value);
        i += 2;
    }
    if (decoded.find('\0') != std::string::npos) return std::nullopt;
    return decoded;
}

bool hasControls(std::string_view text)
{
    return std::any_of(text.begin(), text.end(),
                       [](char c) { return static_cast<unsigned char>(c) < ' ' || c == 127; });
}

bool isPlainHost(std::string_view host)
{
    constexpr std::string_view kMarks = ".-_:%";
    return !host.empty() && host.front() != '-' && std::all_of(host.begin(), host.end(), [&](char c) {
        return (c >= '0' && c <= '9') || (smallLetter(c) >= 'a' && smallLetter(c) <= 'z') ||
               kMarks.find(c) != std::string_view::npos;
    });
}

bool isPlainPath(std::string_view path, std::string_view scheme)
{
    if (hasControls(path)) return false;
    // mount.cifs puts the share among the options, where a comma would begin one of the person's own.
    if (scheme == "smb" && (path.find_first_of(",\\") != std::string_view::npos || path.size() < 2)) return false;
    for (std::size_t start = 0; start < path.size();) {
        const auto end = std::min(path.find('/', start), path.size());
        if (path.substr(start, end - start) == "..") return false;
        start = end + 1;
    }
    return true;
}

/// "domain;name:password@": the name and domain of it.
bool readUser(std::string_view text, ServerShare& share)
{
    const auto user = percentDecoded(text.substr(0, text.find(':')));
    if (!user) return false;
    const auto semicolon = user->find(';');
    if (semicolon != std::string::npos) share.domain = user->substr(0, semicolon);
    share.user = semicolon != std::string::npos ? user->substr(semicolon + 1) : *user;
    return isPlainUserName(share.user) && (semicolon == std::string::npos || isPlainUserName(share.domain));
}

/// "user@host:port"
bool readAuthority(std::string_view text, ServerShare& share)
{
    if (const auto at = text.rfind('@'); at != std::string_view::npos) {
        if (at > 0 && !readUser(text.substr(0, at), share)) return false;
        text.remove_prefix(at + 1);
    }
    const bool isBracketed = text.starts_with('[');
    const auto hostEnd = isBracketed ? text.find(']') : std::min(text.find(':'), text.size());
    if (hostEnd == std::string_view::npos) return false;
    share.host = text.substr(isBracketed ? 1 : 0, isBracketed ? hostEnd - 1 : hostEnd);
    text.remove_prefix(isBracketed ? hostEnd + 1 : hostEnd);
    if (!isPlainHost(share.host)) return false;
    if (text.empty()) return true;
    const auto [end, error] = std::from_chars(text.data() + 1, text.data() + text.size(), share.port);
    return text.front() == ':' && error == std::errc() && end == text.data() + text.size() && share.port != 0;
}

} // namespace

std::string schemeOf(std::string_view url)
{
    const auto end = url.find(kSchemeEnd);
    if (end == std::string_view::npos) return {};
    std::string scheme(url.substr(0, end));
    std::transform(scheme.begin(), scheme.end(), scheme.begin(), smallLetter);
    return scheme;
}

std::string sharePath(std::string_view path)
{
    while (path.size() > 1 && path.back() == '/')
        path.remove_suffix(1);
    return std::string(path);
}

FileSharePlace placeOfFileShare(std::string_view url)
{
    if (schemeOf(url) != "file") return {EINVAL, {}};
    const auto rest = url.substr(url.find(kSchemeEnd) + kSchemeEnd.size());
    const auto slash = rest.find('/');
    if (slash == std::string_view::npos) return {EINVAL, {}};
    const auto host = rest.substr(0, slash);
    if (!host.empty() && host != "localhost") return {EHOSTUNREACH, {}};
    const auto path = percentDecoded(rest.substr(slash));
    if (!path) return {EINVAL, {}};
    return {0, sharePath(*path)};
}

FileShare openFileShare(std::string_view url)
{
    const auto place = placeOfFileShare(url);
    if (place.error != 0) return {place.error, {}};
    struct stat facts = {};
    if (::stat(systemPath(place.folder).c_str(), &facts) != 0) return {errno, {}};
    if (!S_ISDIR(facts.st_mode)) return {ENOTDIR, {}};
    return {0, place.folder};
}

FileShare openFileShare(std::string_view url, FileSystem& files)
{
    const auto place = placeOfFileShare(url);
    if (place.error != 0) return {place.error, {}};
    if (files.isDirectory(place.folder)) return {0, place.folder};
    if (!files.answers(place.folder)) return {ETIMEDOUT, {}};
    return {files.exists(place.folder) ? ENOTDIR : ENOENT, {}};
}

bool isPlainUserName(std::string_view name)
{
    return !name.empty() && name.front() != '-' && !hasControls(name) &&
           name.find_first_of(",/:;\"' ") == std::string_view::npos;
}

std::variant<ServerShare, std::int32_t> parseServerShare(std::string_view url)
{
    ServerShare share{.scheme = schemeOf(url), .domain = {}, .user = {}, .host = {}, .path = {}};
    if (!kServerSchemes.contains(share.scheme)) return EPROTONOSUPPORT;
    const auto rest = url.substr(url.find(kSchemeEnd) + kSchemeEnd.size());
    const auto slash = std::min(rest.find('/'), rest.size());
    if (!readAuthority(rest.substr(0, slash), share)) return EINVAL;
    const auto path = percentDecoded(rest.substr(slash));
    if (!path || !isPlainPath(*path, share.scheme)) return EINVAL;
    share.path = sharePath(path->empty() ? "/" : *path);
    return share;
}

} // namespace platform
