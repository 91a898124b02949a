#include "xml_date.h"

#include <chrono>

#include "util/format_text.h"

namespace platform
{

namespace
{

constexpr std::string_view kPattern = "dddd-dd-ddTdd:dd:ddZ"; // d stands for a digit

bool hasForm(std::string_view text)
{
    if (text.size() != kPattern.size()) return false;
    for (std::size_t i = 0; i < text.size(); ++i) {
        const bool isDigit = text[i] >= '0' && text[i] <= '9';
        if (kPattern[i] == 'd' ? !isDigit : text[i] != kPattern[i]) return false;
    }
    return true;
}

int digits(std::string_view text, std::size_t first, std::size_t count)
{
    int value = 0;
    for (const char digit : text.substr(first, count))
        value = value * 10 + (digit - '0');
    return value;
}

} // namespace

std::optional<roamer::Date> dateFromXmlText(std::string_view text)
{
    using namespace std::chrono;
    if (!hasForm(text)) return std::nullopt;
    const auto day = year{digits(text, 0, 4)} / digits(text, 5, 2) / digits(text, 8, 2);
    const hours hour{digits(text, 11, 2)};
    const minutes minute{digits(text, 14, 2)};
    const seconds second{digits(text, 17, 2)};
    // A Date counts nanoseconds in 64 bits: a little more than 1678 to 2261.
    if (!day.ok() || day.year() < year{1678} || day.year() > year{2261}) return std::nullopt;
    if (hour > 23h || minute > 59min || second > 60s) return std::nullopt; // 60: a leap second
    return roamer::Date(sys_days{day} + hour + minute + second);
}

std::string xmlTextFromDate(roamer::Date date)
{
    using namespace std::chrono;
    const auto wholeDay = floor<days>(date);
    const year_month_day day{wholeDay};
    const hh_mm_ss time{floor<seconds>(date - wholeDay)};
    return roamer::formatText("%04d-%02u-%02uT%02d:%02d:%02dZ", static_cast<int>(day.year()),
                              static_cast<unsigned>(day.month()), static_cast<unsigned>(day.day()),
                              static_cast<int>(time.hours().count()), static_cast<int>(time.minutes().count()),
                              static_cast<int>(time.seconds().count()));
}

} // namespace platform
