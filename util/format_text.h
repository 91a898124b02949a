#pragma once

#include <cstdarg>
#include <string>

namespace roamer
{

/// printf into a string.
std::string formatText(const char* format, ...) __attribute__((format(printf, 1, 2)));
std::string formatTextV(const char* format, std::va_list values) __attribute__((format(printf, 1, 0)));

} // namespace roamer
