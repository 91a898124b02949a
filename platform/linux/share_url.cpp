#include "share_url.h"

#include <algorithm>
#include <cerrno>
#include <charconv>
#include <optional>
#include <sys/stat.h>

#include "platform/system_root.h"

namespace platform
{

namespace
{

constexpr std::string_view kSchemeEnd = "://";

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

FileShare openFileShare(std::string_view url)
{
    if (schemeOf(url) != "file") return {EINVAL, {}};
    const auto rest = url.substr(url.find(kSchemeEnd) + kSchemeEnd.size());
    const auto slash = rest.find('/');
    if (slash == std::string_view::npos) return {EINVAL, {}};
    const auto host = rest.substr(0, slash);
    if (!host.empty() && host != "localhost") return {EHOSTUNREACH, {}};
    const auto path = percentDecoded(rest.substr(slash));
    if (!path) return {EINVAL, {}};

    struct stat facts = {};
    if (::stat(systemPath(*path).c_str(), &facts) != 0) return {errno, {}};
    if (!S_ISDIR(facts.st_mode)) return {ENOTDIR, {}};
    return {0, sharePath(*path)};
}

} // namespace platform
