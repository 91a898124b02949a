#include "tests/directory/record_fixture.h"

namespace roamer
{

namespace
{

using AmruVEXRecordTest = RecordFixture;

Data bytes(const std::string& text)
{
    Data data;
    for (const char c : text)
        data.push_back(static_cast<std::byte>(c));
    return data;
}

TEST_F(AmruVEXRecordTest, TheOverrideWinsAndHides)
{
    const auto live = user({{kHomeAttribute, Array{"/home/jo"}}, {kLongNameAttribute, Array{"Jo Doe", "Jo"}}});
    auto record = *AmruVEXRecord::vexrecordWithRecord(
        context, live, Dictionary{{kHomeAttribute, Array{}}, {kLongNameAttribute, Array{"Other"}}});
    EXPECT_EQ(record.home(), std::nullopt);
    EXPECT_EQ(record.longName(), "Other");
    EXPECT_EQ(record.recordDetailsForAttributes(std::nullopt), (Dictionary{{kLongNameAttribute, Array{"Other"}}}));
    EXPECT_TRUE(live->asked.empty()) << "what the override decides is not asked of the record";

    const auto copy = record;
    EXPECT_FALSE(record.setValues(PropertyList("text"), kHomeAttribute)) << "only arrays";
    EXPECT_TRUE(record.removeValuesForAttribute(kHomeAttribute));
    EXPECT_EQ(copy.home(), std::nullopt) << "a copy has an override of its own";
    EXPECT_EQ(record.home(), "/home/jo");
    EXPECT_TRUE(record.override());
    EXPECT_TRUE(record.removeValuesForAttribute(kLongNameAttribute));
    EXPECT_FALSE(record.override()) << "an empty override is dropped";
}

TEST_F(AmruVEXRecordTest, TypeAndNameComeFromTheOverrideOrTheRecordItself)
{
    // The live record's attributes of these names do not count, only its own type and name.
    const auto live = user({{kRecordTypeAttribute, Array{"no"}}, {kRecordNameAttribute, Array{"no"}}});
    struct Case {
        std::shared_ptr<platform::DirectoryRecord> record;
        Array type, name;
        std::optional<std::string> expectedType, expectedName;
    } const cases[] = {
        {live, {"t"}, {"n"}, "t", "n"},
        {live, {}, {}, kUserRecordType, "jo"},
        {nullptr, {}, {}, {}, {}},
        {live, {1}, {2}, {}, {}},
    };
    for (const auto& c : cases) {
        const auto record = *AmruVEXRecord::vexrecordWithRecord(
            context, c.record, Dictionary{{kRecordTypeAttribute, c.type}, {kRecordNameAttribute, c.name}});
        EXPECT_EQ(record.recordType(), c.expectedType);
        EXPECT_EQ(record.recordName(), c.expectedName);
    }
}

TEST_F(AmruVEXRecordTest, ValuesByType)
{
    const std::string dictionary = xml("<dict><key>k</key><string>v</string></dict>");
    const auto record = *AmruVEXRecord::vexrecordWithOverride(
        context, Dictionary{{"mixed", Array{"b", 1, "a", bytes("x"), "b"}},
                            {"number", Array{7}},
                            {"array", Array{xml("<array><string>one</string></array>")}},
                            {"bytes", Array{bytes(dictionary)}}});
    EXPECT_EQ(record.stringValuesForAttribute("mixed"), (Array{"b", "a", "b"}));
    EXPECT_EQ(record.uniqueStringValuesForAttribute("mixed"), (Array{"b", "a"}));
    EXPECT_EQ(record.dataValuesForAttribute("mixed"), (Array{bytes("b"), 1, bytes("a"), bytes("x"), bytes("b")}));
    EXPECT_EQ(record.stringValuesForAttribute("number"), std::nullopt);
    EXPECT_EQ(record.firstValueForAttributeIfString("number"), std::nullopt);
    EXPECT_EQ(record.firstValueForAttributeAsData("mixed"), bytes("b"));
    EXPECT_EQ(record.firstValueForAttributeIfXMLArray("array"), (Array{"one"}));
    EXPECT_EQ(record.firstValueForAttributeIfXMLDictionary("array"), std::nullopt);
    EXPECT_EQ(record.firstValueForAttributeIfXMLPList("bytes"), PropertyList(Dictionary{{"k", "v"}}));
    EXPECT_EQ(record.firstValueForAttributeIfXMLPList("number"), std::nullopt);
}

} // namespace

} // namespace roamer
