#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "platform/identity_service.h"
#include "platform/property_list_codec.h"
#include "values/property_list.h"

namespace roamer
{

/// The property list in the text or bytes, in either form. Null when there is none; why is logged at level 1.
std::optional<PropertyList> propertyListSafe(platform::PropertyListCodec& codec, std::string_view text);
std::optional<PropertyList> propertyListSafe(platform::PropertyListCodec& codec, const Data& bytes);

/// The XML text, or the binary form, of a dictionary or array. Null for null, for every other type and for a value
/// that cannot be written; all but the first is logged at level 1.
std::optional<std::string> stringWithPropertyList(platform::PropertyListCodec& codec, const PropertyList* value);
std::optional<Data> dataWithPropertyList(platform::PropertyListCodec& codec, const PropertyList* value);

/// The canonical text, upper case: 36 characters in groups of 8, 4, 4, 4 and 12. Null for null.
std::optional<std::string> stringWithUUIDRef(const platform::Uuid* uuid);

} // namespace roamer
