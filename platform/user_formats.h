#pragma once

#include <string>

namespace platform
{

/// The person's regional settings.
class UserFormats
{
public:
    virtual ~UserFormats() = default;
    /// The decimal separator, for example "." or ",".
    virtual std::string decimalSeparator() const = 0;
};

} // namespace platform
