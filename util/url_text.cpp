#include "url_text.h"

namespace roamer
{

std::string urlWithoutUserInfo(std::string_view url)
{
    const auto scheme = url.find("://");
    if (scheme == std::string_view::npos) return std::string(url);
    const auto authority = scheme + 3;
    // An unescaped "/" may stand in a password that was typed carelessly, so the last "@" before any query counts and
    // not the last one before the path: rather a path that is cut in the log than half a password in it.
    const auto at = url.substr(0, url.find_first_of("?#", authority)).rfind('@');
    if (at == std::string_view::npos || at < authority) return std::string(url);
    return std::string(url.substr(0, authority)) + std::string(url.substr(at + 1));
}

std::optional<std::string> urlWithoutUserInfo(const std::optional<std::string>& url)
{
    if (!url) return std::nullopt;
    return urlWithoutUserInfo(std::string_view(*url));
}

} // namespace roamer
