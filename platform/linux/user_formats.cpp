#include "user_formats.h"

#include <cstdlib>
#include <memory>
#include <unicode/dcfmtsym.h>
#include <unicode/dtfmtsym.h>
#include <unicode/locid.h>
#include <unicode/smpdtfmt.h>

#include "calendar_format.h"

namespace platform
{

namespace
{

/// The first of the variables that is set to something, in the order of the C library. `category` is LC_NUMERIC or the
/// like; its variable stands between the two that are for everything.
std::string localeName(const char* category)
{
    for (const char* variable : {"LC_ALL", category, "LANG"}) {
        const char* value = std::getenv(variable);
        if (value != nullptr && *value != '\0') return value;
    }
    return "C";
}

bool isPlain(const std::string& locale)
{
    return locale == "C" || locale == "POSIX" || locale.starts_with("C.");
}

/// Dates are counted in the Gregorian calendar, as everything else on this system shows them.
icu::Locale timeLocale(const std::string& name)
{
    auto locale = icu::Locale::createCanonical(isPlain(name) ? "en_US" : name.c_str());
    UErrorCode status = U_ZERO_ERROR;
    locale.setKeywordValue("calendar", "gregorian", status);
    return locale;
}

std::string utf8(const icu::UnicodeString& text)
{
    std::string result;
    return text.toUTF8String(result);
}

std::optional<std::string> formatOf(const std::unique_ptr<icu::DateFormat>& format)
{
    const auto* simple = dynamic_cast<const icu::SimpleDateFormat*>(format.get());
    if (simple == nullptr) return std::nullopt;
    icu::UnicodeString pattern;
    return calendarFormatOfPattern(utf8(simple->toPattern(pattern)));
}

CalendarNames namesOf(const icu::Locale& locale)
{
    CalendarNames names;
    UErrorCode status = U_ZERO_ERROR;
    const icu::DateFormatSymbols symbols(locale, status);
    if (U_FAILURE(status)) return names;
    const auto fill = [](std::vector<std::string>& list, const icu::UnicodeString* texts, std::int32_t count,
                         std::int32_t first) {
        for (std::int32_t i = first; i < count; ++i)
            list.push_back(utf8(texts[i]));
    };
    using Symbols = icu::DateFormatSymbols;
    std::int32_t count = 0;
    const auto* months = symbols.getMonths(count, Symbols::FORMAT, Symbols::WIDE);
    fill(names.months, months, count, 0);
    months = symbols.getMonths(count, Symbols::FORMAT, Symbols::ABBREVIATED);
    fill(names.shortMonths, months, count, 0);
    const auto* days = symbols.getWeekdays(count, Symbols::FORMAT, Symbols::WIDE);
    fill(names.weekdays, days, count, 1); // Sunday is number 1 there
    days = symbols.getWeekdays(count, Symbols::FORMAT, Symbols::ABBREVIATED);
    fill(names.shortWeekdays, days, count, 1);
    const auto* halves = symbols.getAmPmStrings(count);
    fill(names.dayHalves, halves, count, 0);
    return names;
}

class LocaleUserFormats final : public UserFormats
{
public:
    std::string decimalSeparator() const override
    {
        const std::string name = localeName("LC_NUMERIC");
        if (isPlain(name)) return ".";
        UErrorCode status = U_ZERO_ERROR;
        const icu::DecimalFormatSymbols symbols(icu::Locale::createCanonical(name.c_str()), status);
        if (U_FAILURE(status)) return ".";
        const auto separator = utf8(symbols.getSymbol(icu::DecimalFormatSymbols::kDecimalSeparatorSymbol));
        return separator.empty() ? "." : separator;
    }

    std::optional<std::string> timeFormat() const override
    {
        if (isPlain(localeName("LC_TIME"))) return "%H:%M:%S";
        using icu::DateFormat;
        return formatOf(std::unique_ptr<DateFormat>(DateFormat::createTimeInstance(DateFormat::kMedium, dates())));
    }
    std::optional<std::string> shortDateFormat() const override
    {
        return isPlain(localeName("LC_TIME")) ? "%m/%d/%y" : dateFormat(icu::DateFormat::kShort);
    }
    std::optional<std::string> longDateFormat() const override { return dateFormat(icu::DateFormat::kLong); }

    std::string convert(const std::tm& time, const std::string& format) const override
    {
        CalendarNames names = namesOf(dates());
        names.dateFormat = shortDateFormat().value_or("%Y-%m-%d");
        names.timeFormat = timeFormat().value_or("%H:%M:%S");
        return convertCalendarFormat(time, format, names);
    }

private:
    static icu::Locale dates() { return timeLocale(localeName("LC_TIME")); }

    static std::optional<std::string> dateFormat(icu::DateFormat::EStyle style)
    {
        using icu::DateFormat;
        return formatOf(std::unique_ptr<DateFormat>(DateFormat::createDateInstance(style, dates())));
    }
};

} // namespace

std::unique_ptr<UserFormats> makeUserFormats()
{
    return std::make_unique<LocaleUserFormats>();
}

} // namespace platform
