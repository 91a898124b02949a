#include "url_text.h"

namespace roamer
{

std::string urlWithoutUserInfo(const std::string& url)
{
    const auto scheme = url.find("://");
    if (scheme == std::string::npos) return url;
    const auto authority = scheme + 3;
    // An unescaped "/" may stand in a password that was typed carelessly, so the last "@" of all counts and not the
    // last one before the path: rather a path that is cut in the log than half a password in it.
    const auto at = url.rfind('@');
    if (at == std::string::npos || at < authority) return url;
    return url.substr(0, authority) + url.substr(at + 1);
}

std::string urlWithoutUserInfo(std::string_view url)
{
    return urlWithoutUserInfo(std::string(url));
}

std::optional<std::string> urlWithoutUserInfo(const std::optional<std::string>& url)
{
    if (!url) return std::nullopt;
    return urlWithoutUserInfo(*url);
}

} // namespace roamer
