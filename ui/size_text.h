#pragma once

#include <string>

#include "values/property_list.h"

namespace roamer
{

/// A number of bytes as people read it: the number in a unit, and the key of the unit's format.
struct SizeText {
    const char* unitKey;
    std::string number;
};

/// Three digits at most, with up to two decimals. A kilobyte has 1,024 bytes, a megabyte 1,024,000 and a gigabyte
/// 1,024,000,000. Below a kilobyte the number is shown as it is; anything but a number counts as 0 bytes, and a
/// negative one wraps around as an unsigned 64-bit one does.
SizeText sizeText(const PropertyList& number, const std::string& decimalSeparator);

} // namespace roamer
