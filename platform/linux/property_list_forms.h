#pragma once

#include <cstddef>
#include <optional>
#include <span>
#include <string>
#include <variant>
#include <vector>

#include "platform/property_list_codec.h"
#include "property_list_limits.h"
#include "values/property_list.h"

namespace platform
{

using ParsedPropertyList = std::variant<roamer::PropertyList, PropertyListCodec::Error>;
using WrittenPropertyList = std::variant<std::vector<std::byte>, PropertyListCodec::Error>;

// The four halves of the codec. None keeps anything; none raises but for memory.
ParsedPropertyList readXmlPropertyList(std::span<const std::byte> bytes);
WrittenPropertyList writeXmlPropertyList(const roamer::PropertyList& value);
bool isBinaryPropertyList(std::span<const std::byte> bytes); ///< Whether it begins as one.
ParsedPropertyList readBinaryPropertyList(std::span<const std::byte> bytes);
WrittenPropertyList writeBinaryPropertyList(const roamer::PropertyList& value);

/// What keeps a value from being written in any form: too deep, too many values, a string that is not UTF-8. Nothing
/// when it can be written.
std::optional<std::string> findUnwritable(const roamer::PropertyList& value);

/// Seconds since the reference instant of the binary form, 2001-01-01 00:00 UTC, to a date; nothing when a Date cannot
/// hold it (it reaches from 1677 to 2262).
std::optional<roamer::Date> dateFromReferenceSeconds(double seconds);
double referenceSecondsFromDate(roamer::Date date);

} // namespace platform
