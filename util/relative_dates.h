#pragma once

#include <optional>
#include <string>

#include "platform/bundle.h"
#include "platform/run_loop.h"
#include "platform/user_formats.h"
#include "values/property_list.h"

namespace roamer
{

/// Dates as people read them: relative to today where that is near, in the person's own formats, in local time.
///
/// A date on the other side of a New Year is never "yesterday" or "tomorrow". The words come from the strings table
/// "DateTime" of the bundle; without one, or without the word in it, they are English.
class RelativeDates
{
public:
    /// Borrows both.
    RelativeDates(const platform::UserFormats& formats, const platform::RunLoop& clock);

    /// The person's time format without its seconds; null when there is no time format.
    std::optional<std::string> hourMinuteFormat() const;

    /// "Today at 09:05", "Yesterday at 09:05", "Tomorrow at 09:05", or the date, a blank and the time.
    std::string localizedRelativeWithDateFormat(Date date, const std::string& dateFormat, const std::string& timeFormat,
                                                const platform::Bundle* stringBundle) const;
    /// "Today", "Yesterday", "Tomorrow", or the date.
    std::string localizedRelativeWithDateFormat(Date date, const std::string& dateFormat,
                                                const platform::Bundle* stringBundle) const;

    /// Null when the person has no such format.
    std::optional<std::string> localizedLongDate(Date date) const;
    std::optional<std::string> localizedShortDate(Date date) const;
    std::optional<std::string> localizedHourMinutes(Date date) const;

private:
    std::optional<std::string> converted(Date date, const std::optional<std::string>& format) const;

    const platform::UserFormats& mFormats;
    const platform::RunLoop& mClock;
};

} // namespace roamer
