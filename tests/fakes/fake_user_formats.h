#pragma once

#include <array>
#include <string>

#include "platform/user_formats.h"

namespace fakes
{

/// Formats as they are set here, with English names.
class FakeUserFormats final : public platform::UserFormats
{
public:
    std::string separator = ".";
    std::optional<std::string> time = "%H:%M:%S";
    std::optional<std::string> shortDate = "%d.%m.%y";
    std::optional<std::string> longDate = "%d %B %Y";

    std::string decimalSeparator() const override { return separator; }
    std::optional<std::string> timeFormat() const override { return time; }
    std::optional<std::string> shortDateFormat() const override { return shortDate; }
    std::optional<std::string> longDateFormat() const override { return longDate; }
    std::string convert(const std::tm& when, const std::string& format) const override
    {
        std::array<char, 256> text{};
        return {text.data(), std::strftime(text.data(), text.size(), format.c_str(), &when)};
    }
};

} // namespace fakes
