#include "format_text.h"

#include <cstdio>

namespace roamer
{

std::string formatText(const char* format, ...)
{
    std::va_list values;
    va_start(values, format);
    std::string text = formatTextV(format, values);
    va_end(values);
    return text;
}

std::string formatTextV(const char* format, std::va_list values)
{
    std::va_list copy;
    va_copy(copy, values);
    const int length = std::vsnprintf(nullptr, 0, format, copy);
    va_end(copy);
    if (length < 0) return {};
    std::string text(static_cast<std::size_t>(length), '\0');
    std::vsnprintf(text.data(), text.size() + 1, format, values);
    return text;
}

} // namespace roamer
