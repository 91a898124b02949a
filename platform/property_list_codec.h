#pragma once

#include <cstddef>
#include <span>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

#include "values/property_list.h"

namespace platform
{

/// The published file forms of property lists. Reading takes either form and is safe on hostile bytes: bounded time,
/// memory and depth, an error text instead of a crash.
class PropertyListCodec
{
public:
    enum class Format { Xml, Binary };
    struct Error {
        std::string text; ///< What is wrong and where, in words.
    };
    virtual ~PropertyListCodec() = default;

    virtual std::variant<roamer::PropertyList, Error> parse(std::span<const std::byte> bytes) = 0;

    /// Raises nothing but Failure; an Error for a value that the form cannot hold.
    virtual std::variant<std::vector<std::byte>, Error> serialise(const roamer::PropertyList& value, Format format) = 0;
};

} // namespace platform
