#include "property_list_text.h"

#include <span>
#include <variant>

#include "debug_log.h"
#include "platform/failure.h"

namespace roamer
{

namespace
{

using platform::PropertyListCodec;

/// What the call of the codec gave; null, with a line in the log, for an error and for a failure that it raised.
template <typename T, typename Call>
std::optional<T> guarded(const char* operation, Call call)
{
    try {
        std::variant<T, PropertyListCodec::Error> result = call();
        if (auto* value = std::get_if<T>(&result)) return std::move(*value);
        DebugLog(1, "VEXD.%s returned \"%s\"", operation, std::get<PropertyListCodec::Error>(result).text.c_str());
    } catch (const platform::Failure& failure) {
        DebugLog(1, "VEXD.%s raised an exception %s: \"%s\"", operation, failure.name().c_str(),
                 failure.reason().c_str());
    }
    return std::nullopt;
}

std::optional<Data> serialised(PropertyListCodec& codec, const PropertyList* value, PropertyListCodec::Format format,
                               const char* operation)
{
    if (value == nullptr) return std::nullopt;
    if (value->as<Dictionary>() == nullptr && value->as<Array>() == nullptr) {
        DebugLog(1, "VEXD.%s input is neither a dictionary nor an array", operation);
        return std::nullopt;
    }
    return guarded<Data>(operation, [&] { return codec.serialise(*value, format); });
}

} // namespace

std::optional<PropertyList> propertyListSafe(PropertyListCodec& codec, std::string_view text)
{
    return guarded<PropertyList>("propertyListSafe",
                                 [&] { return codec.parse(std::as_bytes(std::span(text.data(), text.size()))); });
}

std::optional<PropertyList> propertyListSafe(PropertyListCodec& codec, const Data& bytes)
{
    return guarded<PropertyList>("propertyListSafe", [&] { return codec.parse(bytes); });
}

std::optional<std::string> stringWithPropertyList(PropertyListCodec& codec, const PropertyList* value)
{
    const auto bytes = serialised(codec, value, PropertyListCodec::Format::Xml, "stringWithPropertyList");
    if (!bytes) return std::nullopt;
    return std::string(reinterpret_cast<const char*>(bytes->data()), bytes->size());
}

std::optional<Data> dataWithPropertyList(PropertyListCodec& codec, const PropertyList* value)
{
    return serialised(codec, value, PropertyListCodec::Format::Binary, "dataWithPropertyList");
}

std::optional<std::string> stringWithUUIDRef(const platform::Uuid* uuid)
{
    if (uuid == nullptr) return std::nullopt;
    constexpr std::string_view kDigits = "0123456789ABCDEF";
    std::string text;
    for (std::size_t i = 0; i < uuid->size(); ++i) {
        if (i == 4 || i == 6 || i == 8 || i == 10) text += '-';
        const unsigned byte = (*uuid)[i];
        text += kDigits[byte >> 4U];
        text += kDigits[byte & 0xFU];
    }
    return text;
}

} // namespace roamer
