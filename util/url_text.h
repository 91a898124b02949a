#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace roamer
{

/// The URL without the name and password that may stand before its host: what a log line may show of it.
std::string urlWithoutUserInfo(const std::string& url);
std::string urlWithoutUserInfo(std::string_view url);
std::optional<std::string> urlWithoutUserInfo(const std::optional<std::string>& url);

} // namespace roamer
