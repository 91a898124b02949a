#pragma once

#include <algorithm>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "values/inclusion_set.h"
#include "values/property_list.h"

namespace roamer
{

/// The value of the key, null when there is none.
inline const PropertyList* objectForKey(const Dictionary& dictionary, const std::string& key)
{
    const auto item = dictionary.find(key);
    return item != dictionary.end() ? &item->second : nullptr;
}

/// The value of the key when it is exactly of the type T (one of PropertyList's alternatives), else null. For a number
/// of either form use `numberForKey`.
template <typename T>
const T* objectForKey(const Dictionary& dictionary, const std::string& key)
{
    const auto* value = objectForKey(dictionary, key);
    return value != nullptr ? value->as<T>() : nullptr;
}

/// An integer or a real; nothing for a missing key and every other type.
inline std::optional<double> numberForKey(const Dictionary& dictionary, const std::string& key)
{
    const auto* value = objectForKey(dictionary, key);
    return value != nullptr ? value->number() : std::nullopt;
}

/// The boolean reading of a value; where it has only an integer reading, whether that is 1 or more; else the default,
/// as for null.
inline bool boolWithDefault(const PropertyList* value, bool defaultValue)
{
    if (value == nullptr) return defaultValue;
    if (const auto reading = value->boolReading()) return *reading;
    if (const auto reading = value->integerReading()) return *reading >= 1;
    return defaultValue;
}

inline bool boolForKey(const Dictionary& dictionary, const std::string& key, bool defaultValue = false)
{
    return boolWithDefault(objectForKey(dictionary, key), defaultValue);
}

/// Whether an element is this very string. A null string matches nothing: lists hold no null.
inline bool containsString(const Array& array, const std::string* text)
{
    return text != nullptr && std::any_of(array.begin(), array.end(), [text](const PropertyList& item) {
               const auto* string = item.as<std::string>();
               return string != nullptr && *string == *text;
           });
}

inline bool containsString(const Array& array, const std::string& text)
{
    return containsString(array, &text);
}

inline bool containsString(const std::vector<std::string>& array, const std::string& text)
{
    return std::find(array.begin(), array.end(), text) != array.end();
}

/// A null set holds nothing.
inline bool containsString(const InclusionSet& set, const std::string& text)
{
    return set && set->contains(text);
}

/// Null when the array is empty.
inline const PropertyList* firstObject(const Array& array)
{
    return array.empty() ? nullptr : &array.front();
}

} // namespace roamer
