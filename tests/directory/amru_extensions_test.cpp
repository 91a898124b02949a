#include "tests/directory/record_fixture.h"

namespace roamer
{

namespace
{

using AmruExtensionsTest = RecordFixture;

TEST_F(AmruExtensionsTest, IdsThatAreNoneAreAllOnes)
{
    const std::pair<PropertyList, std::uint32_t> cases[] = {
        {"501", 501},
        {"-2", 0xfffffffe},
        {"", AmruVEXRecord::kNoId},
        {"root", AmruVEXRecord::kNoId},
        {"4294967296", AmruVEXRecord::kNoId}, // would be root's if it wrapped
        {501, AmruVEXRecord::kNoId},          // no text
    };
    for (const auto& [text, id] : cases) {
        SCOPED_TRACE(text.description());
        const auto user = record(kUserRecordType, {{kUidAttribute, Array{text}}, {kGidAttribute, Array{text}}});
        EXPECT_EQ(user.uid(), id);
        EXPECT_EQ(user.gid(), id);
    }
    EXPECT_EQ(record(kUserRecordType, {}).uid(), 0xffffffffU);
}

TEST_F(AmruExtensionsTest, PortableAccounts)
{
    const Dictionary portable{{kTimestampAttribute, Array{"2024-01-02T03:04:05Z"}},
                              {kPreservedAttributesAttribute, Array{"x"}},
                              {kNodeNameAttribute, Array{"/Local/Default"}}};
    struct Case {
        const char* name;
        const char* type;
        const char* changed; ///< This attribute, to that; null for none.
        std::optional<Array> to;
        bool isMobileUser, isMobile;
    } const cases[] = {
        {"a portable user", kUserRecordType, nullptr, {}, true, true},
        {"a portable computer", kComputerRecordType, nullptr, {}, false, true},
        {"no timestamp", kUserRecordType, kTimestampAttribute, {}, false, false},
        {"no preserved attributes", kUserRecordType, kPreservedAttributesAttribute, {}, false, false},
        {"on another node", kUserRecordType, kNodeNameAttribute, Array{"/LDAPv3/server"}, false, false},
        {"unknown node counts as local", kUserRecordType, kNodeNameAttribute, {}, true, true},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        auto attributes = portable;
        if (c.changed != nullptr) attributes.erase(c.changed);
        if (c.to) attributes[c.changed] = *c.to;
        const auto r = record(c.type, attributes);
        EXPECT_EQ(r.isMobileUserAccount(), c.isMobileUser);
        EXPECT_EQ(r.isMobileRecord(), c.isMobile);
    }
}

TEST_F(AmruExtensionsTest, LocalByNodeName)
{
    const auto moved = record(kUserRecordType, {{kNodeNameAttribute, Array{"/Local/Default"}},
                                                {kOriginalNodeNameAttribute, Array{"/LDAPv3/server"}}});
    directory.openError = {5, "broken"};
    EXPECT_FALSE(moved.rawIsLocal());
    directory.openError = {};
    EXPECT_TRUE(moved.rawIsLocal()) << "the failure is not remembered";
    EXPECT_FALSE(moved.isLocal());
    EXPECT_TRUE(record(kUserRecordType, {}).isLocal());
}

} // namespace

} // namespace roamer
