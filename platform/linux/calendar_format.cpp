#include "calendar_format.h"

#include <algorithm>
#include <array>
#include <cstdlib>

#include "util/format_text.h"

namespace platform
{

namespace
{

constexpr int kMaxDepth = 2; // %c is made of %x and %X, which are made of others

int twelveHours(const std::tm& time)
{
    return time.tm_hour % 12 == 0 ? 12 : time.tm_hour % 12;
}

int withinCentury(const std::tm& time)
{
    return ((time.tm_year % 100) + 100) % 100;
}

struct NumberConversion {
    char letter;
    std::size_t digits; ///< At least; filled up with `fill`.
    char fill;
    int (*value)(const std::tm&);
};
constexpr auto kNumbers = std::to_array<NumberConversion>({
    {'d', 2, '0', [](const std::tm& time) { return time.tm_mday; }},
    {'e', 2, ' ', [](const std::tm& time) { return time.tm_mday; }},
    {'H', 2, '0', [](const std::tm& time) { return time.tm_hour; }},
    {'I', 2, '0', twelveHours},
    {'j', 3, '0', [](const std::tm& time) { return time.tm_yday + 1; }},
    {'m', 2, '0', [](const std::tm& time) { return time.tm_mon + 1; }},
    {'M', 2, '0', [](const std::tm& time) { return time.tm_min; }},
    {'S', 2, '0', [](const std::tm& time) { return time.tm_sec; }},
    {'w', 1, ' ', [](const std::tm& time) { return time.tm_wday; }},
    {'y', 2, '0', withinCentury},
    {'Y', 1, ' ', [](const std::tm& time) { return time.tm_year + 1900; }},
});

struct NameConversion {
    char letter;
    std::vector<std::string> CalendarNames::*names;
    std::size_t (*index)(const std::tm&);
};
constexpr auto kNames = std::to_array<NameConversion>({
    {'a', &CalendarNames::shortWeekdays, [](const std::tm& time) { return static_cast<std::size_t>(time.tm_wday); }},
    {'A', &CalendarNames::weekdays, [](const std::tm& time) { return static_cast<std::size_t>(time.tm_wday); }},
    {'b', &CalendarNames::shortMonths, [](const std::tm& time) { return static_cast<std::size_t>(time.tm_mon); }},
    {'B', &CalendarNames::months, [](const std::tm& time) { return static_cast<std::size_t>(time.tm_mon); }},
    {'p', &CalendarNames::dayHalves, [](const std::tm& time) { return std::size_t{time.tm_hour >= 12}; }},
});

std::string zoneOffset(const std::tm& time)
{
    const long minutes = std::labs(time.tm_gmtoff) / 60;
    return roamer::formatText("%c%02ld%02ld", time.tm_gmtoff < 0 ? '-' : '+', minutes / 60, minutes % 60);
}

class Conversion
{
public:
    Conversion(const std::tm& time, const CalendarNames& names) : mTime(time), mNames(names) {}

    std::string convert(std::string_view format, int depth = 0) const
    {
        std::string result;
        for (std::size_t at = 0; at < format.size(); ++at) {
            const bool isShort = format.substr(at, 2) == "%1";
            const std::size_t letterAt = at + (isShort ? 2 : 1);
            if (format[at] == '%' && letterAt < format.size() &&
                addConversion(result, format[letterAt], isShort, depth)) {
                at = letterAt;
            } else {
                result += format[at];
            }
        }
        return result;
    }

private:
    bool addConversion(std::string& result, char letter, bool isShort, int depth) const
    {
        for (const auto& number : kNumbers) {
            if (number.letter != letter) continue;
            const std::string digits = std::to_string(number.value(mTime));
            const auto wanted = isShort ? 0 : number.digits;
            if (digits.size() < wanted) result.append(wanted - digits.size(), number.fill);
            result += digits;
            return true;
        }
        for (const auto& name : kNames) {
            if (name.letter != letter) continue;
            const auto& list = mNames.*name.names;
            if (const auto index = name.index(mTime); index < list.size()) result += list[index];
            return true;
        }
        switch (letter) {
        case '%':
            result += '%';
            return true;
        case 'z':
            result += zoneOffset(mTime);
            return true;
        case 'Z':
            if (mTime.tm_zone != nullptr) result += mTime.tm_zone;
            return true;
        case 'x':
        case 'X':
        case 'c':
            return addWhole(result, letter, depth);
        default:
            return false;
        }
    }

    bool addWhole(std::string& result, char letter, int depth) const
    {
        if (depth == kMaxDepth) return false;
        if (letter == 'c') {
            result += convert("%x %X", depth + 1);
        } else {
            result += convert(letter == 'x' ? mNames.dateFormat : mNames.timeFormat, depth + 1);
        }
        return true;
    }

    const std::tm& mTime;
    const CalendarNames& mNames;
};

/// Fields of Unicode patterns, see UTS 35. A field with more letters than are listed is written like the longest.
struct PatternField {
    char letter;
    std::size_t letters;
    const char* conversion;
};
constexpr auto kFields = std::to_array<PatternField>({
    {'y', 1, "%Y"},  {'y', 2, "%y"},  {'y', 3, "%Y"},  {'u', 1, "%Y"},  {'M', 1, "%1m"}, {'M', 2, "%m"},
    {'M', 3, "%b"},  {'M', 4, "%B"},  {'L', 1, "%1m"}, {'L', 2, "%m"},  {'L', 3, "%b"},  {'L', 4, "%B"},
    {'d', 1, "%1d"}, {'d', 2, "%d"},  {'D', 1, "%1j"}, {'D', 3, "%j"},  {'E', 1, "%a"},  {'E', 4, "%A"},
    {'c', 1, "%a"},  {'c', 4, "%A"},  {'a', 1, "%p"},  {'b', 1, "%p"},  {'B', 1, "%p"},  {'h', 1, "%1I"},
    {'h', 2, "%I"},  {'K', 1, "%1I"}, {'K', 2, "%I"},  {'H', 1, "%1H"}, {'H', 2, "%H"},  {'k', 1, "%1H"},
    {'k', 2, "%H"},  {'m', 1, "%1M"}, {'m', 2, "%M"},  {'s', 1, "%1S"}, {'s', 2, "%S"},  {'z', 1, "%Z"},
    {'Z', 1, "%z"},
});

std::string conversionOf(char letter, std::size_t letters)
{
    std::string best;
    for (const auto& field : kFields) {
        if (field.letter == letter && field.letters <= letters) best = field.conversion;
    }
    return best;
}

bool isLetter(char c)
{
    return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z');
}

/// Text between single quotes is meant as it stands; two quotes are one, anywhere.
std::size_t addQuoted(std::string& format, std::string_view pattern, std::size_t at)
{
    if (pattern.substr(at, 2) == "''") {
        format += '\'';
        return at + 2;
    }
    for (++at; at < pattern.size() && pattern[at] != '\''; ++at)
        format += pattern[at];
    return at + 1;
}

} // namespace

std::string convertCalendarFormat(const std::tm& time, std::string_view format, const CalendarNames& names)
{
    return Conversion(time, names).convert(format);
}

std::string calendarFormatOfPattern(std::string_view pattern)
{
    std::string format;
    for (std::size_t at = 0; at < pattern.size();) {
        const char c = pattern[at];
        if (c == '\'') {
            at = addQuoted(format, pattern, at);
        } else if (isLetter(c)) {
            const std::size_t end = std::min(pattern.find_first_not_of(c, at), pattern.size());
            const auto conversion = conversionOf(c, end - at);
            const bool leavesTwoBlanks = conversion.empty() && format.ends_with(' ') && pattern.substr(end, 1) == " ";
            format += conversion;
            at = leavesTwoBlanks ? end + 1 : end;
        } else {
            format += c;
            if (c == '%') format += '%';
            ++at;
        }
    }
    return format;
}

} // namespace platform
