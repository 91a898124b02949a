#include "util/typed_reads.h"

#include <gtest/gtest.h>

namespace roamer
{

TEST(TypedReads, ObjectForKeyTakesOnlyItsType)
{
    const Dictionary dictionary{{"list", Array{1}}, {"number", 3}, {"real", 0.5}, {"flag", true}};
    ASSERT_NE(objectForKey<Array>(dictionary, "list"), nullptr);
    EXPECT_EQ(objectForKey<Array>(dictionary, "list")->size(), 1U);
    EXPECT_EQ(objectForKey<Array>(dictionary, "number"), nullptr);
    EXPECT_EQ(objectForKey<Array>(dictionary, "missing"), nullptr);
    EXPECT_EQ(objectForKey(dictionary, "missing"), nullptr);
    EXPECT_EQ(numberForKey(dictionary, "number"), 3.0);
    EXPECT_EQ(numberForKey(dictionary, "real"), 0.5);
    EXPECT_EQ(numberForKey(dictionary, "flag"), std::nullopt);
}

TEST(TypedReads, BoolForKeyFallsBackOnlyWithoutAReading)
{
    const Dictionary dictionary{{"on", "YES"}, {"off", 0}, {"list", Array{}}};
    for (const bool fallback : {false, true}) {
        EXPECT_TRUE(boolForKey(dictionary, "on", fallback));
        EXPECT_FALSE(boolForKey(dictionary, "off", fallback));
        EXPECT_EQ(boolForKey(dictionary, "list", fallback), fallback);
        EXPECT_EQ(boolForKey(dictionary, "missing", fallback), fallback);
    }
    EXPECT_FALSE(boolForKey(dictionary, "missing"));
}

TEST(TypedReads, ContainsStringMindsCaseTypeAndNull)
{
    const Array array{1, "Documents", true};
    EXPECT_TRUE(containsString(array, "Documents"));
    EXPECT_FALSE(containsString(array, "documents"));
    EXPECT_FALSE(containsString(array, "1"));
    EXPECT_FALSE(containsString(array, static_cast<const std::string*>(nullptr)));
    EXPECT_FALSE(containsString(InclusionSet(), "a"));
    EXPECT_TRUE(containsString(InclusionSet({"a", "b"}), "b"));
    EXPECT_EQ(firstObject(Array{}), nullptr);
    EXPECT_EQ(*firstObject(array), PropertyList(1));
}

} // namespace roamer
