#pragma once

#include <optional>
#include <string>

namespace roamer
{

/// The URL without the name and password that may stand before its host: what a log line may show of it.
std::string urlWithoutUserInfo(const std::string& url);
std::optional<std::string> urlWithoutUserInfo(const std::optional<std::string>& url);

} // namespace roamer
