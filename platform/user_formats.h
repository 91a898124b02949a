#pragma once

#include <ctime>
#include <optional>
#include <string>

namespace platform
{

/// The person's regional settings. Date and time formats are texts with conversions such as %H, see `convert`.
class UserFormats
{
public:
    virtual ~UserFormats() = default;
    /// The decimal separator, for example "." or ",".
    virtual std::string decimalSeparator() const = 0;

    /// Null when the person has none.
    virtual std::optional<std::string> timeFormat() const = 0;      ///< For example "%H:%M:%S".
    virtual std::optional<std::string> shortDateFormat() const = 0; ///< For example "%d.%m.%y".
    virtual std::optional<std::string> longDateFormat() const = 0;  ///< For example "%e %B %Y".

    /// `time` (local, every field filled in) as `format` shows it, with the names of the person's language. Conversions
    /// as those of strftime; "%1" before a letter leaves out leading zeros and blanks ("%1I:%M %p"). What follows a
    /// percent sign and is no conversion stays as it is.
    virtual std::string convert(const std::tm& time, const std::string& format) const = 0;
};

} // namespace platform
