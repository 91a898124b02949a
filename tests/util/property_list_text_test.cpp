#include "util/property_list_text.h"

#include <gtest/gtest.h>

#include "platform/failure.h"
#include "platform/linux/property_list_codec.h"
#include "tests/fakes/recording_log.h"

namespace
{

using namespace roamer;

/// Raises whatever it is asked.
class RaisingCodec final : public platform::PropertyListCodec
{
public:
    std::variant<PropertyList, Error> parse(std::span<const std::byte>) override
    {
        throw platform::Failure("Broken", "out of order");
    }
    std::variant<Data, Error> serialise(const PropertyList&, Format) override
    {
        throw platform::Failure("Broken", "out of order");
    }
};

TEST(PropertyListText, ReadsBackWhatItWroteAndLogsWhatItCannot)
{
    const fakes::RecordingLog log;
    const auto codec = platform::makePropertyListCodec();
    RaisingCodec raising;
    const PropertyList value = Dictionary{{"a", Array{1, "zwölf"}}}, text = "text", notUtf8 = Array{"\xff"};
    EXPECT_EQ(propertyListSafe(*codec, stringWithPropertyList(*codec, &value).value()), value);
    EXPECT_EQ(propertyListSafe(*codec, dataWithPropertyList(*codec, &value).value()), value);
    EXPECT_EQ(stringWithPropertyList(*codec, nullptr), std::nullopt);
    EXPECT_TRUE(log.lines.empty());
    EXPECT_EQ(dataWithPropertyList(*codec, &text), std::nullopt) << "neither a dictionary nor an array";
    EXPECT_EQ(propertyListSafe(*codec, "no property list"), std::nullopt);
    EXPECT_EQ(stringWithPropertyList(*codec, &notUtf8), std::nullopt);
    EXPECT_EQ(propertyListSafe(raising, ""), std::nullopt);
    EXPECT_EQ(dataWithPropertyList(raising, &value), std::nullopt);
    EXPECT_EQ(log.lines.size(), 5U);
    EXPECT_TRUE(log.has(1, "VEXD.dataWithPropertyList raised an exception Broken: \"out of order\""));
}

} // namespace
