#include "relative_dates.h"

#include <ctime>
#include <string_view>

namespace roamer
{

namespace
{

constexpr std::string_view kSeconds = ":%S";
constexpr const char* kTable = "DateTime";

enum class Day { Today, Yesterday, Tomorrow, Other };

/// The keys of the words, which are the English words too. A time follows those of the first kind at once.
struct DayWords {
    const char* beforeTime;
    const char* alone;
};
constexpr DayWords kDayWords[] = {
    {"Today at ", "Today"},
    {"Yesterday at ", "Yesterday"},
    {"Tomorrow at ", "Tomorrow"},
};

std::tm localTime(Date date)
{
    const std::time_t seconds = std::chrono::system_clock::to_time_t(std::chrono::floor<std::chrono::seconds>(date));
    std::tm local{};
    tzset(); // localtime_r alone need not notice that the zone has changed
    localtime_r(&seconds, &local);
    return local;
}

Day dayOf(const std::tm& date, const std::tm& now)
{
    if (date.tm_year != now.tm_year) return Day::Other;
    switch (date.tm_yday - now.tm_yday) {
    case 0:
        return Day::Today;
    case -1:
        return Day::Yesterday;
    case 1:
        return Day::Tomorrow;
    default:
        return Day::Other;
    }
}

std::string translated(const char* word, const platform::Bundle* bundle)
{
    return bundle != nullptr ? bundle->localizedString(word, kTable) : word;
}

} // namespace

RelativeDates::RelativeDates(const platform::UserFormats& formats, const platform::RunLoop& clock)
    : mFormats(formats), mClock(clock)
{
}

std::optional<std::string> RelativeDates::hourMinuteFormat() const
{
    auto format = mFormats.timeFormat();
    if (!format) return std::nullopt;
    if (const auto at = format->find(kSeconds); at != std::string::npos) format->erase(at, kSeconds.size());
    return format;
}

std::string RelativeDates::localizedRelativeWithDateFormat(Date date, const std::string& dateFormat,
                                                           const std::string& timeFormat,
                                                           const platform::Bundle* stringBundle) const
{
    const std::tm local = localTime(date);
    const std::string time = mFormats.convert(local, timeFormat);
    const Day day = dayOf(local, localTime(mClock.date()));
    if (day == Day::Other) return mFormats.convert(local, dateFormat) + " " + time;
    return translated(kDayWords[static_cast<int>(day)].beforeTime, stringBundle) + time;
}

std::string RelativeDates::localizedRelativeWithDateFormat(Date date, const std::string& dateFormat,
                                                           const platform::Bundle* stringBundle) const
{
    const std::tm local = localTime(date);
    const Day day = dayOf(local, localTime(mClock.date()));
    if (day == Day::Other) return mFormats.convert(local, dateFormat);
    return translated(kDayWords[static_cast<int>(day)].alone, stringBundle);
}

std::optional<std::string> RelativeDates::localizedLongDate(Date date) const
{
    return converted(date, mFormats.longDateFormat());
}

std::optional<std::string> RelativeDates::localizedShortDate(Date date) const
{
    return converted(date, mFormats.shortDateFormat());
}

std::optional<std::string> RelativeDates::localizedHourMinutes(Date date) const
{
    return converted(date, hourMinuteFormat());
}

std::optional<std::string> RelativeDates::converted(Date date, const std::optional<std::string>& format) const
{
    if (!format) return std::nullopt;
    return mFormats.convert(localTime(date), *format);
}

} // namespace roamer
