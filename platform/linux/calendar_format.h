#pragma once

#include <ctime>
#include <string>
#include <string_view>
#include <vector>

namespace platform
{

/// What a language calls the parts of a date. A list that is too short leaves the conversion empty.
struct CalendarNames {
    std::vector<std::string> months;
    std::vector<std::string> shortMonths;
    std::vector<std::string> weekdays; ///< From Sunday.
    std::vector<std::string> shortWeekdays;
    std::vector<std::string> dayHalves; ///< Before and after noon.
    std::string dateFormat;             ///< What %x stands for.
    std::string timeFormat;             ///< What %X stands for.
};

/// See UserFormats::convert.
std::string convertCalendarFormat(const std::tm& time, std::string_view format, const CalendarNames& names);

/// The format with percent conversions that shows what a Unicode date pattern such as "h:mm:ss a" shows. Fields without
/// a conversion (eras, quarters) are left out.
std::string calendarFormatOfPattern(std::string_view pattern);

} // namespace platform
