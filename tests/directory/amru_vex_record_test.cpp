#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "directory/amru_vex_record.h"
#include "directory/record_attributes.h"
#include "tests/directory/record_fixture.h"

namespace roamer
{

namespace
{

using testing::Optional;

class AmruVEXRecordTest : public RecordFixture
{
};

Data bytes(const std::string& text)
{
    Data data;
    for (const char c : text)
        data.push_back(static_cast<std::byte>(c));
    return data;
}

TEST_F(AmruVEXRecordTest, NeedsARecordOrAnOverride)
{
    EXPECT_FALSE(AmruVEXRecord::vexrecordWithRecord(context, nullptr));
    EXPECT_FALSE(AmruVEXRecord::vexrecordWithOverride(context, std::nullopt));
    EXPECT_TRUE(AmruVEXRecord::vexrecordWithOverride(context, Dictionary{}));
    EXPECT_TRUE(AmruVEXRecord::vexrecordWithRecord(context, user({})));
}

TEST_F(AmruVEXRecordTest, TheOverrideWinsAndHides)
{
    const auto live = user({{kHomeAttribute, Array{"/home/jo"}}, {kLongNameAttribute, Array{"Jo Doe", "Jo"}}});
    auto record = *AmruVEXRecord::vexrecordWithRecord(
        context, live, Dictionary{{kHomeAttribute, Array{}}, {kLongNameAttribute, Array{"Other"}}});
    EXPECT_EQ(record.home(), std::nullopt);
    EXPECT_EQ(record.longName(), "Other");
    EXPECT_TRUE(live->asked.empty()) << "what the override decides is not asked of the record";

    EXPECT_TRUE(record.removeValuesForAttribute(kHomeAttribute));
    EXPECT_EQ(record.home(), "/home/jo");
    EXPECT_TRUE(record.override());
    EXPECT_TRUE(record.removeValuesForAttribute(kLongNameAttribute));
    EXPECT_FALSE(record.override()) << "an empty override is dropped";
    EXPECT_EQ(record.recordDetailsForAttributes(std::nullopt), live->recordDetailsForAttributes(std::nullopt));
    EXPECT_TRUE(record.removeValuesForAttribute(kLongNameAttribute)) << "nothing to remove is fine too";
}

TEST_F(AmruVEXRecordTest, TypeAndNameComeFromTheOverrideOrTheRecordItself)
{
    // The live record's attributes of these names do not count, only its own type and name.
    const auto live = user({{kRecordTypeAttribute, Array{"no"}}, {kRecordNameAttribute, Array{"no"}}});
    struct Case {
        const char* name;
        std::shared_ptr<platform::DirectoryRecord> record;
        std::optional<Dictionary> override;
        std::optional<std::string> type, recordName;
    } const cases[] = {
        {"live", live, std::nullopt, kUserRecordType, "jo"},
        {"overridden", live, Dictionary{{kRecordTypeAttribute, Array{"t"}}, {kRecordNameAttribute, Array{"n"}}}, "t",
         "n"},
        {"an empty entry does not hide them", live,
         Dictionary{{kRecordTypeAttribute, Array{}}, {kRecordNameAttribute, Array{}}}, kUserRecordType, "jo"},
        {"no record", nullptr, Dictionary{}, std::nullopt, std::nullopt},
        {"not texts", live, Dictionary{{kRecordTypeAttribute, Array{1}}, {kRecordNameAttribute, Array{2}}},
         std::nullopt, std::nullopt},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        const auto record = *AmruVEXRecord::vexrecordWithRecord(context, c.record, c.override);
        EXPECT_EQ(record.recordType(), c.type);
        EXPECT_EQ(record.recordName(), c.recordName);
    }
}

TEST_F(AmruVEXRecordTest, DetailsMergeWhatTheListAsksFor)
{
    const Dictionary live{{kLongNameAttribute, Array{"Jo"}}, {"axAttrTypeNative:shell", Array{"/bin/sh"}}};
    const Dictionary override{{kLongNameAttribute, Array{"Other"}},
                              {kHomeAttribute, Array{"/home/o"}},
                              {"axAttrTypeNative:shell", Array{}},
                              {kCachedGroupsAttribute, Array{"g"}},
                              {kUuidCache, Array{"u"}}};
    using List = std::optional<std::vector<std::string>>;
    struct Case {
        const char* name;
        List attributes;
        std::optional<Dictionary> expected;
    } const cases[] = {
        {"all", std::nullopt,
         Dictionary{{kLongNameAttribute, Array{"Other"}},
                    {kHomeAttribute, Array{"/home/o"}},
                    {kCachedGroupsAttribute, Array{"g"}}}},
        {"all by name", List{{kAllAttributes}},
         Dictionary{{kLongNameAttribute, Array{"Other"}},
                    {kHomeAttribute, Array{"/home/o"}},
                    {kCachedGroupsAttribute, Array{"g"}}}},
        {"standard ones", List{{kAllStandardAttributes}},
         Dictionary{{kLongNameAttribute, Array{"Other"}}, {kHomeAttribute, Array{"/home/o"}}}},
        {"native ones, one hidden", List{{kAllNativeAttributes}}, Dictionary{{kCachedGroupsAttribute, Array{"g"}}}},
        {"a private one by its name", List{{kUuidCache}}, Dictionary{{kUuidCache, Array{"u"}}}},
        {"only a hidden one: null, not empty", List{{"axAttrTypeNative:shell"}}, std::nullopt},
        {"an unknown one", List{{"axAttrTypeStandard:None"}}, std::nullopt},
    };
    const auto record = *AmruVEXRecord::vexrecordWithRecord(context, user(live), override);
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        EXPECT_EQ(record.recordDetailsForAttributes(c.attributes), c.expected);
    }
    EXPECT_EQ(record.recordDetailsForAttribute(kUuidCache), (Dictionary{{kUuidCache, Array{"u"}}}));
    EXPECT_EQ(record.recordDetailsForAttribute(std::nullopt), cases[0].expected);

    const auto cachedOnly = *AmruVEXRecord::vexrecordWithRecord(
        context, user({{"axAttrTypeNative:shell", Array{"/bin/sh"}}}),
        Dictionary{{kCachedGroupsAttribute, Array{"g"}}, {kLongNameAttribute, Array{"Jo"}}});
    EXPECT_EQ(cachedOnly.recordDetailsForAttributes(List{{kAllStandardAttributes}}),
              (Dictionary{{kLongNameAttribute, Array{"Jo"}}}));
}

TEST_F(AmruVEXRecordTest, ValueLists)
{
    const auto record = *AmruVEXRecord::vexrecordWithOverride(
        context, Dictionary{{"mixed", Array{"b", 1, "a", bytes("x"), "b"}}, {"none", Array{1, true}}});
    EXPECT_EQ(record.stringValuesForAttribute("mixed"), (Array{"b", "a", "b"}));
    EXPECT_EQ(record.uniqueStringValuesForAttribute("mixed"), (Array{"b", "a"}));
    EXPECT_EQ(record.dataValuesForAttribute("mixed"), (Array{bytes("b"), 1, bytes("a"), bytes("x"), bytes("b")}));
    EXPECT_EQ(record.stringValuesForAttribute("none"), std::nullopt);
    EXPECT_EQ(record.uniqueStringValuesForAttribute("none"), std::nullopt);
    EXPECT_EQ(record.dataValuesForAttribute("missing"), std::nullopt);
}

TEST_F(AmruVEXRecordTest, FirstValuesByType)
{
    const std::string array = xml("<array><string>one</string></array>");
    const std::string dictionary = xml("<dict><key>k</key><string>v</string></dict>");
    const auto record = *AmruVEXRecord::vexrecordWithOverride(context, Dictionary{{"text", Array{"hello", "second"}},
                                                                                  {"bytes", Array{bytes(dictionary)}},
                                                                                  {"number", Array{7}},
                                                                                  {"array", Array{array}},
                                                                                  {"dictionary", Array{dictionary}}});
    EXPECT_EQ(record.firstValueForAttribute("text"), PropertyList("hello"));
    EXPECT_EQ(record.firstValueForAttribute("missing"), std::nullopt);
    EXPECT_EQ(record.firstValueForAttributeIfString("number"), std::nullopt);
    EXPECT_EQ(record.firstValueForAttribute<std::int64_t>("number"), 7);
    EXPECT_EQ(record.firstValueForAttributeAsData("text"), bytes("hello"));
    EXPECT_EQ(record.firstValueForAttributeAsData("bytes"), bytes(dictionary));
    EXPECT_EQ(record.firstValueForAttributeAsData("number"), std::nullopt);

    EXPECT_EQ(record.firstValueForAttributeIfXMLArray("array"), (Array{"one"}));
    EXPECT_EQ(record.firstValueForAttributeIfXMLDictionary("array"), std::nullopt);
    EXPECT_EQ(record.firstValueForAttributeIfXMLDictionary("dictionary"), (Dictionary{{"k", "v"}}));
    EXPECT_EQ(record.firstValueForAttributeIfXMLArray("dictionary"), std::nullopt);
    EXPECT_EQ(record.firstValueForAttributeIfXMLPList("bytes"), PropertyList(Dictionary{{"k", "v"}}));
    EXPECT_EQ(record.firstValueForAttributeIfXMLPList("number"), std::nullopt);
}

TEST_F(AmruVEXRecordTest, BooleanReadings)
{
    struct Case {
        PropertyList value;
        bool whenFalseIsDefault, whenTrueIsDefault;
    } const cases[] = {
        {true, true, true}, {false, false, false}, {"Yes", true, true},    {"no", false, false},
        {1, true, true},    {0, false, false},     {Array{1}, true, true}, {Dictionary{}, false, true},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.value.description());
        auto record = *AmruVEXRecord::vexrecordWithOverride(context, Dictionary{});
        record.setValue(c.value, "flag");
        EXPECT_EQ(record.boolForAttribute("flag", false), c.whenFalseIsDefault);
        EXPECT_EQ(record.boolForAttribute("flag", true), c.whenTrueIsDefault);
    }
    const auto none = *AmruVEXRecord::vexrecordWithOverride(context, Dictionary{});
    EXPECT_TRUE(none.boolForAttribute("flag", true));
    EXPECT_FALSE(none.isExternal());
}

TEST_F(AmruVEXRecordTest, SettersWriteArraysIntoTheOverrideOnly)
{
    const auto live = user({{"a", Array{"live"}}});
    auto record = *AmruVEXRecord::vexrecordWithRecord(context, live);
    EXPECT_FALSE(record.setValues(PropertyList("text"), "a"));
    EXPECT_FALSE(record.override()) << "a refused value changes nothing";
    ASSERT_EQ(log.lines.size(), 1U);
    EXPECT_EQ(log.lines[0].level, 1);
    EXPECT_THAT(log.lines[0].text, testing::StartsWith("AmruVEXRecord.setValues:forAttribute: inValues is not"));
    EXPECT_THAT(log.lines[0].text, testing::HasSubstr("string"));

    EXPECT_TRUE(record.setValue(PropertyList("one"), "a"));
    EXPECT_EQ(record.valuesForAttribute("a"), (Array{"one"}));
    EXPECT_TRUE(record.setValue(PropertyList(Array{"x", "y"}), "a"));
    EXPECT_EQ(record.valuesForAttribute("a"), (Array{"x", "y"}));
    EXPECT_TRUE(record.setValue(std::nullopt, "a"));
    EXPECT_EQ(record.valuesForAttribute("a"), std::nullopt);
    EXPECT_TRUE(record.setValues(std::nullopt, "b"));
    EXPECT_EQ(record.override(), (Dictionary{{"a", Array{}}, {"b", Array{}}}));
    EXPECT_EQ(live->valuesForAttribute("a"), (Array{"live"}));

    const auto copy = record;
    record.setValue(PropertyList("later"), "a");
    EXPECT_EQ(copy.valuesForAttribute("a"), std::nullopt) << "a copy has an override of its own";
}

TEST_F(AmruVEXRecordTest, RecordsWrittenInAnAttribute)
{
    const auto group = xml("<dict><key>axAttrTypeStandard:RecordName</key><array><string>staff</string></array>"
                           "<key>axAttrTypeStandard:RealName</key><string>Staff</string></dict>");
    const auto record = *AmruVEXRecord::vexrecordWithOverride(
        context, Dictionary{{kCachedGroupsAttribute, Array{"<damaged", group, 5, xml("<array/>"), bytes(group)}},
                            {kCachedParentsAttribute, Array{"<damaged"}},
                            {kTrustInfoAttribute, Array{xml("<array><integer>3</integer></array>")}}});
    const auto groups = record.cachedGroups();
    ASSERT_TRUE(groups);
    ASSERT_EQ(groups->size(), 2U);
    EXPECT_EQ(groups->at(0).recordName(), "staff");
    EXPECT_EQ(groups->at(1).recordName(), "staff");
    EXPECT_EQ(groups->at(0).longName(), "Staff") << "a value that is no array is taken as one of one";
    EXPECT_FALSE(groups->at(0).record());
    EXPECT_EQ(record.cachedParents(), std::nullopt);
    EXPECT_EQ(record.cachedParentGroups(), std::nullopt);
    EXPECT_EQ(record.cachedLocalUserGroups(), std::nullopt);
    EXPECT_EQ(record.cachedTrustInfoArray(), (Array{3}));
}

} // namespace

} // namespace roamer
