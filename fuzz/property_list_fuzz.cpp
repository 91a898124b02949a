#include <cstdint>
#include <cstdio>
#include <cstdlib>

#include "platform/linux/property_list_codec.h"

namespace
{

using platform::PropertyListCodec;

/// What was read must be writable in the binary form and come back the same, in as far as it equals itself: a real that
/// is not a number does not.
void checkRoundTrip(PropertyListCodec& codec, const roamer::PropertyList& value)
{
    const auto written = codec.serialise(value, PropertyListCodec::Format::Binary);
    const auto* bytes = std::get_if<std::vector<std::byte>>(&written);
    if (bytes == nullptr) {
        std::printf("not writable: %s\n", std::get<PropertyListCodec::Error>(written).text.c_str());
        std::abort();
    }
    const auto again = codec.parse(*bytes);
    const auto* read = std::get_if<roamer::PropertyList>(&again);
    if (read == nullptr) {
        std::printf("not readable again: %s\n", std::get<PropertyListCodec::Error>(again).text.c_str());
        std::abort();
    }
    if (value == value && read->description() != value.description()) std::abort();
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    const auto codec = platform::makePropertyListCodec();
    const auto result = codec->parse(std::as_bytes(std::span(data, size)));
    const auto* value = std::get_if<roamer::PropertyList>(&result);
    if (value == nullptr) return 0;
    checkRoundTrip(*codec, *value);
    // The text form refuses some strings, but what it takes it gives back.
    const auto text = codec->serialise(*value, PropertyListCodec::Format::Xml);
    const auto* bytes = std::get_if<std::vector<std::byte>>(&text);
    if (bytes != nullptr && !std::holds_alternative<roamer::PropertyList>(codec->parse(*bytes))) std::abort();
    return 0;
}
