#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <initializer_list>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <type_traits>
#include <utility>
#include <variant>
#include <vector>

namespace roamer
{

/// A point in time. The text form of a property list keeps whole seconds of it, the binary form about a microsecond.
using Date = std::chrono::system_clock::time_point;

class PropertyList;
using Array = std::vector<PropertyList>;
using Dictionary = std::map<std::string, PropertyList>;
using Data = std::vector<std::byte>;

/// The value tree of preferences, defaults, engine options and messages.
///
/// A plain value: copies are deep, equality is by content. Strings are UTF-8. Integers and reals are both "numbers" and
/// differ from booleans, as in the published file forms. There is no null; "no value" is std::optional or a missing
/// key.
class PropertyList
{
public:
    using Value = std::variant<Dictionary, Array, std::string, std::int64_t, double, bool, Date, Data>;

    PropertyList() = default; ///< An empty dictionary.
    PropertyList(Dictionary value) : mValue(std::move(value)) {}
    PropertyList(Array value) : mValue(std::move(value)) {}
    PropertyList(std::string value) : mValue(std::move(value)) {}
    PropertyList(std::string_view value) : mValue(std::string(value)) {}
    PropertyList(const char* value) : mValue(std::string(value)) {}
    PropertyList(double value) : mValue(value) {}
    PropertyList(Date value) : mValue(value) {}
    PropertyList(Data value) : mValue(std::move(value)) {}
    template <typename T>
        requires std::is_same_v<T, bool>
    PropertyList(T value) : mValue(value)
    {
    }
    template <typename T>
        requires(std::is_integral_v<T> && !std::is_same_v<T, bool>)
    PropertyList(T value) : mValue(static_cast<std::int64_t>(value))
    {
    }

    /// The value when it is of exactly the type T (one of Value's alternatives), else null.
    template <typename T>
    const T* as() const
    {
        return std::get_if<T>(&mValue);
    }
    template <typename T>
    T* as()
    {
        return std::get_if<T>(&mValue);
    }

    bool isNumber() const { return as<std::int64_t>() != nullptr || as<double>() != nullptr; }

    /// An integer or a real as a real; nothing for every other type.
    std::optional<double> number() const;

    /// The boolean reading of a value: a boolean itself, a number's truth, a string whose first character after leading
    /// blanks is Y, y, T, t or a digit 1 to 9. Nothing for every other type.
    std::optional<bool> boolReading() const;

    /// The integer reading: a number cut towards zero, a boolean as 0 or 1, a string by its leading decimal digits with
    /// sign (0 when it has none). Nothing for every other type. Values out of range are clamped.
    std::optional<std::int64_t> integerReading() const;

    /// One line that shows the value in a log: dictionaries as {key = value; }, arrays as (a, b), data by its size.
    std::string description() const;

    const Value& value() const { return mValue; }

    friend bool operator==(const PropertyList& a, const PropertyList& b);

private:
    Value mValue;
};

} // namespace roamer
