#include "util/property_list_text.h"

#include <functional>
#include <gtest/gtest.h>
#include <stdexcept>

#include "platform/failure.h"
#include "platform/linux/property_list_codec.h"
#include "tests/fakes/recording_log.h"

namespace roamer
{

namespace
{

/// Raises whatever it is told to.
class RaisingCodec final : public platform::PropertyListCodec
{
public:
    explicit RaisingCodec(std::function<void()> raise) : mRaise(std::move(raise)) {}
    std::variant<PropertyList, Error> parse(std::span<const std::byte>) override
    {
        mRaise();
        return Error{};
    }
    std::variant<Data, Error> serialise(const PropertyList&, Format) override
    {
        mRaise();
        return Error{};
    }

private:
    std::function<void()> mRaise;
};

} // namespace

TEST(PropertyListText, ReadsBackWhatItWrote)
{
    const auto codec = platform::makePropertyListCodec();
    const PropertyList value = Dictionary{{"a", Array{1, "zwölf"}}};
    const auto text = stringWithPropertyList(*codec, &value);
    ASSERT_TRUE(text);
    EXPECT_TRUE(text->starts_with("<?xml"));
    EXPECT_EQ(propertyListSafe(*codec, *text), value);
    const auto data = dataWithPropertyList(*codec, &value);
    ASSERT_TRUE(data);
    EXPECT_EQ(propertyListSafe(*codec, *data), value);
}

TEST(PropertyListText, TakesOnlyDictionariesAndArrays)
{
    const auto codec = platform::makePropertyListCodec();
    fakes::RecordingLog log;
    const PropertyList text = "text";
    EXPECT_EQ(stringWithPropertyList(*codec, nullptr), std::nullopt);
    EXPECT_EQ(dataWithPropertyList(*codec, nullptr), std::nullopt);
    EXPECT_TRUE(log.lines.empty());
    EXPECT_EQ(stringWithPropertyList(*codec, &text), std::nullopt);
    EXPECT_EQ(dataWithPropertyList(*codec, &text), std::nullopt);
    EXPECT_EQ(log.countContaining("input is neither a dictionary nor an array"), 2);
}

TEST(PropertyListText, ErrorsAndFailuresAreLoggedOthersPassThrough)
{
    const auto real = platform::makePropertyListCodec();
    const PropertyList notUtf8 = Array{"\xff"};
    RaisingCodec failing([] { throw platform::Failure("Broken", "out of order"); });
    RaisingCodec buggy([] { throw std::logic_error("bug"); });
    const PropertyList list = Array{};
    fakes::RecordingLog log;

    EXPECT_EQ(propertyListSafe(*real, "no property list"), std::nullopt);
    EXPECT_EQ(stringWithPropertyList(*real, &notUtf8), std::nullopt);
    EXPECT_EQ(propertyListSafe(failing, ""), std::nullopt);
    EXPECT_EQ(dataWithPropertyList(failing, &list), std::nullopt);
    ASSERT_EQ(log.lines.size(), 4U);
    for (const auto& line : log.lines)
        EXPECT_EQ(line.level, 1);
    EXPECT_TRUE(log.has(1, "VEXD.dataWithPropertyList raised an exception Broken: \"out of order\""));
    EXPECT_THROW(propertyListSafe(buggy, ""), std::logic_error);
}

TEST(PropertyListText, UuidTextIsUpperCaseInFiveGroups)
{
    platform::Uuid uuid{};
    for (std::size_t i = 0; i < uuid.size(); ++i)
        uuid[i] = static_cast<std::uint8_t>(i * 0x11);
    EXPECT_EQ(stringWithUUIDRef(&uuid), "00112233-4455-6677-8899-AABBCCDDEEFF");
    EXPECT_EQ(stringWithUUIDRef(nullptr), std::nullopt);
}

} // namespace roamer
