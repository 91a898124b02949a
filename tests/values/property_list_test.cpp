#include "values/property_list.h"

#include <gtest/gtest.h>
#include <limits>

namespace roamer
{

namespace
{

using Limits = std::numeric_limits<std::int64_t>;

struct ReadingCase {
    const char* name;
    PropertyList value;
    std::optional<bool> asBool;
    std::optional<std::int64_t> asInteger;
};

const ReadingCase kReadings[] = {
    {"true", true, true, 1},
    {"zero", 0, false, 0},
    {"negative integer", -2, true, -2},
    {"half is true but cut to 0", 0.5, true, 0},
    {"negative real cut towards zero", -1.9, true, -1},
    {"real above 64 bits", 1e30, true, Limits::max()},
    {"real below 64 bits", -1e30, true, Limits::min()},
    {"not a number", std::numeric_limits<double>::quiet_NaN(), true, 0},
    {"YES", "YES", true, 0},
    {"NO", "NO", false, 0},
    {"true in words", "true", true, 0},
    {"leading blanks", "  \ty", true, 0},
    {"digit", "3 times", true, 3},
    {"the digit 0", "0", false, 0},
    {"a signed number is no yes", "+1", false, 1},
    {"negative text", "-12abc", false, -12},
    {"text above 64 bits", "99999999999999999999", true, Limits::max()},
    {"text below 64 bits", "-99999999999999999999", false, Limits::min()},
    {"only a sign", "-", false, 0},
    {"empty", "", false, 0},
    {"array", Array{1}, {}, {}},
    {"dictionary", Dictionary{}, {}, {}},
    {"data", Data{std::byte{1}}, {}, {}},
    {"date", Date{}, {}, {}},
};

} // namespace

TEST(PropertyList, BoolAndIntegerReadings)
{
    for (const auto& c : kReadings) {
        SCOPED_TRACE(c.name);
        EXPECT_EQ(c.value.boolReading(), c.asBool);
        EXPECT_EQ(c.value.integerReading(), c.asInteger);
    }
}

TEST(PropertyList, KeepsTypesApart)
{
    EXPECT_NE(PropertyList(1), PropertyList(true));
    EXPECT_NE(PropertyList(1), PropertyList(1.0));
    EXPECT_NE(PropertyList("1"), PropertyList(1));
    EXPECT_FALSE(PropertyList(true).isNumber());
    EXPECT_EQ(PropertyList(7).number(), 7.0);
    EXPECT_EQ(PropertyList(true).number(), std::nullopt);
    EXPECT_NE(PropertyList("text").as<std::string>(), nullptr); // and no bool
}

TEST(PropertyList, DescribesEveryType)
{
    const PropertyList value = Dictionary{
        {"array", Array{1, 2.5, true, "x"}}, {"data", Data(3)}, {"date", Date(std::chrono::seconds(1'000'000'000))}};
    EXPECT_EQ(value.description(), "{array = (1, 2.5, 1, x); data = <3 bytes>; date = 2001-09-09 01:46:40 +0000; }");
}

} // namespace roamer
