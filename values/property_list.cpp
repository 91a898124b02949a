#include "property_list.h"

#include <algorithm>
#include <cctype>
#include <charconv>
#include <cmath>
#include <cstdio>
#include <ctime>
#include <limits>

namespace roamer
{

namespace
{

std::string_view withoutLeadingBlanks(std::string_view text)
{
    const auto first = text.find_first_not_of(" \t\r\n\f\v");
    return first == std::string_view::npos ? std::string_view{} : text.substr(first);
}

std::int64_t clampedInteger(double value)
{
    if (std::isnan(value)) return 0;
    constexpr double kLimit = 9223372036854775808.0; // 2^63
    if (value >= kLimit) return std::numeric_limits<std::int64_t>::max();
    if (value < -kLimit) return std::numeric_limits<std::int64_t>::min();
    return static_cast<std::int64_t>(value);
}

std::int64_t leadingInteger(std::string_view text)
{
    text = withoutLeadingBlanks(text);
    if (text.starts_with('+')) text.remove_prefix(1);
    std::int64_t value = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
    if (error == std::errc::result_out_of_range) {
        return text.starts_with('-') ? std::numeric_limits<std::int64_t>::min()
                                     : std::numeric_limits<std::int64_t>::max();
    }
    return value;
}

std::string describeDate(Date date)
{
    const std::time_t seconds = std::chrono::system_clock::to_time_t(date);
    std::tm parts{};
    if (gmtime_r(&seconds, &parts) == nullptr) return "(date out of range)";
    char text[64];
    const auto length = std::strftime(text, sizeof text, "%Y-%m-%d %H:%M:%S +0000", &parts);
    return {text, length};
}

struct Describe {
    std::string operator()(const Dictionary& value) const
    {
        std::string text = "{";
        for (const auto& [key, item] : value)
            text += key + " = " + item.description() + "; ";
        return text + "}";
    }
    std::string operator()(const Array& value) const
    {
        std::string text = "(";
        for (const auto& item : value)
            text += (text.size() > 1 ? ", " : "") + item.description();
        return text + ")";
    }
    std::string operator()(const std::string& value) const { return value; }
    std::string operator()(std::int64_t value) const { return std::to_string(value); }
    std::string operator()(double value) const
    {
        char text[32];
        std::snprintf(text, sizeof text, "%.15g", value);
        return text;
    }
    std::string operator()(bool value) const { return value ? "1" : "0"; }
    std::string operator()(Date value) const { return describeDate(value); }
    std::string operator()(const Data& value) const { return "<" + std::to_string(value.size()) + " bytes>"; }
};

} // namespace

std::optional<double> PropertyList::number() const
{
    if (const auto* integer = as<std::int64_t>()) return static_cast<double>(*integer);
    if (const auto* real = as<double>()) return *real;
    return std::nullopt;
}

std::optional<bool> PropertyList::boolReading() const
{
    if (const auto* boolean = as<bool>()) return *boolean;
    if (const auto value = number()) return *value != 0.0;
    if (const auto* text = as<std::string>()) {
        const auto rest = withoutLeadingBlanks(*text);
        return !rest.empty() && std::string_view("YyTt123456789").find(rest.front()) != std::string_view::npos;
    }
    return std::nullopt;
}

std::optional<std::int64_t> PropertyList::integerReading() const
{
    if (const auto* integer = as<std::int64_t>()) return *integer;
    if (const auto* real = as<double>()) return clampedInteger(*real);
    if (const auto* boolean = as<bool>()) return *boolean ? 1 : 0;
    if (const auto* text = as<std::string>()) return leadingInteger(*text);
    return std::nullopt;
}

std::string PropertyList::description() const
{
    return std::visit(Describe{}, mValue);
}

bool operator==(const PropertyList& a, const PropertyList& b)
{
    return a.mValue == b.mValue;
}

} // namespace roamer
