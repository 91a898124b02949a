#pragma once

#include <cstddef>
#include <cstdint>
#include <string_view>

namespace platform
{

// The binary form: the magic, the objects, a table of the objects' offsets, and at the end a trailer:
//
//   byte 6        size of one offset in the table     bytes 16-23  index of the top object
//   byte 7        size of one object reference        bytes 24-31  where the table begins
//   bytes 8-15    number of objects
//
// All numbers have their most significant byte first. An object begins with a marker byte: the kind in the upper half,
// in the lower half a count, a size as a power of two, or which simple value it is.
inline constexpr std::string_view kBinaryMagic = "bplist00";
inline constexpr std::size_t kBinaryTrailerBytes = 32;

enum class BinaryMarker : std::uint8_t {
    Simple = 0x00,
    Integer = 0x10,
    Real = 0x20,
    Date = 0x30,
    Data = 0x40,
    Ascii = 0x50,
    Utf16 = 0x60,
    Uid = 0x80,
    Array = 0xA0,
    Set = 0xC0,
    Dictionary = 0xD0,
};

inline constexpr unsigned kSimpleFalse = 0x8;
inline constexpr unsigned kSimpleTrue = 0x9;
inline constexpr unsigned kLongCount = 0xF; ///< The count follows as an integer object.

} // namespace platform
