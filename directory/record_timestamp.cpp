#include "record_timestamp.h"

#include <algorithm>
#include <array>
#include <chrono>

namespace roamer
{

namespace
{

constexpr std::string_view kForm = "0000-00-00T00:00:00Z"; // 0 stands for any digit

constexpr auto kReferenceDate = std::chrono::sys_days{std::chrono::year{2001} / std::chrono::January / 1};

bool isDigit(char c)
{
    return c >= '0' && c <= '9';
}

bool hasForm(std::string_view text)
{
    return std::equal(text.begin(), text.end(), kForm.begin(), kForm.end(),
                      [](char c, char form) { return form == '0' ? isDigit(c) : c == form; });
}

int digits(std::string_view text, std::size_t at, std::size_t count)
{
    int value = 0;
    for (const char c : text.substr(at, count))
        value = value * 10 + (c - '0');
    return value;
}

} // namespace

std::optional<double> secondsSinceReferenceDate(std::string_view text)
{
    if (!hasForm(text)) return std::nullopt;
    const std::chrono::year_month_day day{std::chrono::year{digits(text, 0, 4)},
                                          std::chrono::month{static_cast<unsigned>(digits(text, 5, 2))},
                                          std::chrono::day{static_cast<unsigned>(digits(text, 8, 2))}};
    const std::chrono::hours hour{digits(text, 11, 2)};
    const std::chrono::minutes minute{digits(text, 14, 2)};
    const std::chrono::seconds second{digits(text, 17, 2)};
    if (!day.ok() || hour.count() > 23 || minute.count() > 59 || second.count() > 59) return std::nullopt;
    // Whole seconds: the four-digit years would not fit a count of nanoseconds.
    const std::chrono::seconds since = std::chrono::sys_days{day} - kReferenceDate + hour + minute + second;
    return static_cast<double>(since.count());
}

} // namespace roamer
