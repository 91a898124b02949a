#include <cerrno>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "directory/amru_vex_record.h"
#include "directory/record_attributes.h"
#include "tests/directory/record_fixture.h"
#include "tests/fakes/test_user_record.h"

namespace roamer
{

namespace
{

class AmruExtensionsTest : public RecordFixture
{
};

TEST_F(AmruExtensionsTest, EveryAccessorReadsItsOwnAttribute)
{
    using Accessor = std::optional<std::string> (AmruVEXRecord::*)() const;
    struct Case {
        const char* attribute;
        Accessor accessor;
    } const cases[] = {
        {"axAttrTypeStandard:RealName", &AmruVEXRecord::longName},
        {"axAttrTypeStandard:PrimaryGroupID", &AmruVEXRecord::gidString},
        {"axAttrTypeStandard:UniqueID", &AmruVEXRecord::uidString},
        {"axAttrTypeStandard:GeneratedUID", &AmruVEXRecord::rawUUIDString},
        {"axAttrTypeStandard:KestrelMetaNodeLocation", &AmruVEXRecord::rawNodeName},
        {"axAttrTypeStandard:OriginalNodeName", &AmruVEXRecord::originalNodeName},
        {"axAttrTypeStandard:NFSHomeDirectory", &AmruVEXRecord::home},
        {"axAttrTypeStandard:HomeDirectory", &AmruVEXRecord::homeLoc},
        {"axAttrTypeStandard:OriginalNFSHomeDirectory", &AmruVEXRecord::originalHome},
        {"axAttrTypeStandard:OriginalHomeDirectory", &AmruVEXRecord::originalHomeLoc},
        {"axAttrTypeStandard:CopyTimestamp", &AmruVEXRecord::timestampString},
        {"axAttrTypeStandard:Picture", &AmruVEXRecord::picturePath},
    };
    Dictionary attributes;
    for (const auto& c : cases)
        attributes[c.attribute] = Array{std::string("value of ") + c.attribute};
    const auto full = record(kUserRecordType, attributes);
    const auto empty = record(kUserRecordType, {});
    for (const auto& c : cases) {
        SCOPED_TRACE(c.attribute);
        EXPECT_EQ((full.*c.accessor)(), std::string("value of ") + c.attribute);
        EXPECT_EQ((empty.*c.accessor)(), std::nullopt);
    }
    EXPECT_EQ(full.nodeName(), full.originalNodeName());
    EXPECT_EQ(full.bestName(), full.longName());
    EXPECT_EQ(empty.bestName(), "jo");
}

TEST_F(AmruExtensionsTest, IdsThatAreNoneAreAllOnes)
{
    struct Case {
        PropertyList text;
        std::uint32_t id;
    } const cases[] = {
        {"501", 501},
        {" 20", 20},
        {"+7", 7},
        {"-2", 0xfffffffe},
        {"4294967294", 0xfffffffe},
        {"12 in words", 12},
        {"0", 0},
        {"", AmruVEXRecord::kNoId},
        {"root", AmruVEXRecord::kNoId},
        {"-", AmruVEXRecord::kNoId},
        {"+-5", AmruVEXRecord::kNoId},
        {"4294967296", AmruVEXRecord::kNoId},           // would be root's if it wrapped
        {"99999999999999999999", AmruVEXRecord::kNoId}, // more than 64 bits
        {501, AmruVEXRecord::kNoId},                    // no text
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.text.description());
        const auto user = record(kUserRecordType, {{kUidAttribute, Array{c.text}}, {kGidAttribute, Array{c.text}}});
        EXPECT_EQ(user.uid(), c.id);
        EXPECT_EQ(user.gid(), c.id);
    }
    EXPECT_EQ(record(kUserRecordType, {}).uid(), 0xffffffffU);
    EXPECT_EQ(record(kUserRecordType, {}).gid(), 0xffffffffU);
}

TEST_F(AmruExtensionsTest, KindsOfRecords)
{
    struct Case {
        const char* type;
        bool user, computer, computerList, userGroup, computerGroup;
    } const cases[] = {
        {"axRecTypeStandard:Users", true, false, false, false, false},
        {"axRecTypeStandard:Computers", false, true, false, false, false},
        {"axRecTypeStandard:ComputerLists", false, false, true, false, false},
        {"axRecTypeStandard:Groups", false, false, false, true, false},
        {"axRecTypeStandard:ComputerGroups", false, false, false, false, true},
        {"axRecTypeStandard:Printers", false, false, false, false, false},
    };
    const auto flags = xml("<dict><key>has_vex_settings</key><true/></dict>");
    for (const auto& c : cases) {
        SCOPED_TRACE(c.type);
        const auto r = record(c.type, {{kFlagsAttribute, Array{flags}}});
        EXPECT_EQ(r.isUser(), c.user);
        EXPECT_EQ(r.isComputer(), c.computer);
        EXPECT_EQ(r.isComputerList(), c.computerList);
        EXPECT_EQ(r.isUserGroup(), c.userGroup);
        EXPECT_EQ(r.isComputerGroup(), c.computerGroup);
        EXPECT_EQ(r.isGroup(), c.userGroup || c.computerGroup);
        EXPECT_EQ(r.isGroupWithVEXSettingsFlag(), c.userGroup || c.computerGroup);
        EXPECT_FALSE(record(c.type, {}).isGroupWithVEXSettingsFlag());
    }
}

TEST_F(AmruExtensionsTest, PortableAccounts)
{
    const Dictionary portable{{kTimestampAttribute, Array{"2024-01-02T03:04:05Z"}},
                              {kPreservedAttributesAttribute, Array{"x"}},
                              {kNodeNameAttribute, Array{"/Local/Default"}}};
    const auto without = [&portable](const char* attribute) {
        auto copy = portable;
        copy.erase(attribute);
        return copy;
    };
    auto elsewhere = portable;
    elsewhere[kNodeNameAttribute] = Array{"/LDAPv3/server"};
    auto emptied = portable;
    emptied[kPreservedAttributesAttribute] = Array{};
    struct Case {
        const char* name;
        const char* type;
        Dictionary attributes;
        bool userAccount, computerAccount;
    } const cases[] = {
        {"a portable user", kUserRecordType, portable, true, false},
        {"a portable computer", kComputerRecordType, portable, false, true},
        {"a group", kGroupRecordType, portable, false, false},
        {"no timestamp", kUserRecordType, without(kTimestampAttribute), false, false},
        {"no preserved attributes", kUserRecordType, without(kPreservedAttributesAttribute), false, false},
        {"no value in them", kUserRecordType, emptied, false, false},
        {"on another node", kUserRecordType, elsewhere, false, false},
        {"unknown node counts as local", kUserRecordType, without(kNodeNameAttribute), true, false},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        const auto r = record(c.type, c.attributes);
        EXPECT_EQ(r.isMobileUserAccount(), c.userAccount);
        EXPECT_EQ(r.isMobileComputerAccount(), c.computerAccount);
        EXPECT_EQ(r.isMobileRecord(), c.userAccount || c.computerAccount || r.isGroup());
    }
    EXPECT_TRUE(fakes::makePortableUserRecord(context).isMobileUserAccount());
    EXPECT_FALSE(fakes::makeUserRecord({{kLongNameAttribute, "Jo"}}, context).isMobileUserAccount());
}

TEST_F(AmruExtensionsTest, LocalByNodeName)
{
    const auto moved = record(kUserRecordType, {{kNodeNameAttribute, Array{"/Local/Default"}},
                                                {kOriginalNodeNameAttribute, Array{"/LDAPv3/server"}}});
    EXPECT_FALSE(moved.isLocal());
    EXPECT_TRUE(moved.rawIsLocal());
    EXPECT_EQ(directory.opened, 1) << "the local node's name is asked for once";
    EXPECT_EQ(directory.nodeTypes, std::vector<std::uint32_t>{0x2200});

    const auto nameless = record(kUserRecordType, {});
    log.lines.clear();
    EXPECT_TRUE(nameless.rawIsLocal());
    ASSERT_EQ(log.lines.size(), 1U);
    EXPECT_EQ(log.lines[0].level, 1);
    EXPECT_THAT(log.lines[0].text, testing::HasSubstr("\"jo\""));
    EXPECT_TRUE(nameless.isLocal());
    EXPECT_EQ(log.lines.size(), 2U);
}

TEST_F(AmruExtensionsTest, NothingIsOnALocalNodeThatDoesNotOpen)
{
    directory.openError = {5, "broken"};
    const auto r = record(kUserRecordType, {{kNodeNameAttribute, Array{"/Local/Default"}}});
    EXPECT_FALSE(r.isLocal());
    directory.openError = {};
    EXPECT_TRUE(r.isLocal()) << "the failure is not remembered";
}

TEST_F(AmruExtensionsTest, AdministratorsAreAskedForOnce)
{
    const auto uuid = fakes::FakeIdentityService::uuid(7);
    identity.usersByName["jo"] = uuid;
    identity.memberships = {{uuid, 80}};
    const auto admin = record(kUserRecordType, {});
    EXPECT_TRUE(admin.isAdmin());
    identity.memberships.clear();
    EXPECT_TRUE(admin.isAdmin());
    EXPECT_EQ(identity.nameQuestions, 1);
    EXPECT_EQ(identity.membershipQuestions, 1);
    EXPECT_FALSE(admin.rawIsAdmin()) << "the raw answer is always a fresh one";
    EXPECT_FALSE(record(kUserRecordType, {}).isAdmin()) << "a new record asks anew";

    EXPECT_FALSE(record(kGroupRecordType, {}).isAdmin());
    EXPECT_EQ(identity.nameQuestions, 3) << "only users are asked for";
    EXPECT_TRUE(log.system.empty());
}

TEST_F(AmruExtensionsTest, AdministratorFailuresAreReportedAndMeanNo)
{
    testing::internal::CaptureStdout();
    EXPECT_FALSE(record(kUserRecordType, {}).rawIsAdmin());
    ASSERT_EQ(log.system.size(), 2U);
    EXPECT_THAT(log.system[0], testing::HasSubstr(std::to_string(ENOENT)));
    EXPECT_THAT(log.system[1],
                testing::AllOf(testing::HasSubstr("\"jo\""), testing::HasSubstr(std::to_string(ENOENT))));

    identity.usersByName["jo"] = fakes::FakeIdentityService::uuid(7);
    identity.membershipError = 111;
    EXPECT_FALSE(record(kUserRecordType, {}).rawIsAdmin());
    ASSERT_EQ(log.system.size(), 3U);
    EXPECT_THAT(log.system[2],
                testing::AllOf(testing::HasSubstr("\"jo\""), testing::HasSubstr("80"), testing::HasSubstr("111")));
    const auto out = testing::internal::GetCapturedStdout();
    for (const auto& text : log.system) {
        EXPECT_TRUE(log.has(0, text)) << text;
        EXPECT_THAT(out, testing::HasSubstr(text + "\n"));
    }
}

TEST_F(AmruExtensionsTest, UuidsAndWhereTheyComeFrom)
{
    identity.usersByUid[501] = fakes::FakeIdentityService::uuid(0x1a);
    identity.groupsByGid[501] = fakes::FakeIdentityService::uuid(0x2b);
    const char* const users = "00000000-0000-0000-0000-00000000001A";
    const char* const groups = "00000000-0000-0000-0000-00000000002B";
    const char* const random1 = "80000000-0000-0000-0000-000000000001";
    const char* const random2 = "80000000-0000-0000-0000-000000000002";
    const Dictionary ids{{kUidAttribute, Array{"501"}}, {kGidAttribute, Array{"501"}}};
    struct Case {
        const char* name;
        const char* type;
        Dictionary attributes;
        std::optional<std::string> uuid;
        int idQuestions;
    } const cases[] = {
        {"its own", kUserRecordType, {{kUuidAttribute, Array{"OWN"}}, {kUidAttribute, Array{"501"}}}, "OWN", 0},
        {"by uid", kUserRecordType, ids, users, 1},
        {"by gid", kGroupRecordType, ids, groups, 1},
        {"by gid", kComputerGroupRecordType, ids, groups, 1},
        {"no uid: a random one without a question", kUserRecordType, {}, random1, 0},
        {"unknown uid: a random one", kUserRecordType, {{kUidAttribute, Array{"9"}}}, random2, 1},
        {"other kinds have none", kComputerRecordType, ids, std::nullopt, 0},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        identity.idQuestions = 0;
        const auto r = record(c.type, c.attributes);
        EXPECT_EQ(r.uuidString(), c.uuid);
        EXPECT_EQ(r.uuidString(), c.uuid) << "the same on every call";
        EXPECT_EQ(identity.idQuestions, c.idQuestions);
    }
    ASSERT_EQ(log.lines.size(), 1U) << "only the failed question is logged";
    EXPECT_EQ(log.lines[0].level, 1);
    EXPECT_THAT(log.lines[0].text, testing::AllOf(testing::HasSubstr("uid 9"), testing::HasSubstr("no such identity")));

    const auto own = record(kUserRecordType, {{kUuidAttribute, Array{"OWN"}}});
    (void)own.uuidString();
    EXPECT_FALSE(own.override()) << "its own UUID is not kept twice";
}

TEST_F(AmruExtensionsTest, Timestamps)
{
    struct Case {
        const char* text;
        double seconds;
    } const cases[] = {
        {"2001-01-01T00:00:00Z", 0},
        {"2001-01-02T01:02:03Z", 86400 + 3723},
        {"2000-12-31T23:59:59Z", -1},
        {"2024-02-29T00:00:00Z", 730857600},
        {"1900-01-01T00:00:00Z", -2147483637.0},
        {"9999-12-31T23:59:59Z", 2147483637.0},
        {"2023-02-29T00:00:00Z", AmruVEXRecord::kNoTimestamp},
        {"2001-01-01T24:00:00Z", AmruVEXRecord::kNoTimestamp},
        {"2001-01-01T00:60:00Z", AmruVEXRecord::kNoTimestamp},
        {"2001-13-01T00:00:00Z", AmruVEXRecord::kNoTimestamp},
        {"2001-01-01T00:00:00", AmruVEXRecord::kNoTimestamp},
        {"2001-01-01T00:00:00Z ", AmruVEXRecord::kNoTimestamp},
        {"2001-1-01T00:00:00Z", AmruVEXRecord::kNoTimestamp},
        {"2001-01-01T00:00:00Z</date>", AmruVEXRecord::kNoTimestamp},
        {"yesterday", AmruVEXRecord::kNoTimestamp},
        {"", AmruVEXRecord::kNoTimestamp},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.text);
        const auto r = record(kUserRecordType, {{kTimestampAttribute, Array{c.text}}});
        EXPECT_EQ(r.vexTimestamp(), c.seconds);
        EXPECT_EQ(r.fromCache(), c.seconds > -2147483637.0);
    }
    EXPECT_EQ(record(kUserRecordType, {}).vexTimestamp(), -2147483637.0);
}

TEST_F(AmruExtensionsTest, Flags)
{
    const auto r = record(kUserRecordType, {{kFlagsAttribute, Array{xml("<dict><key>simultaneous_login_enabled</key>"
                                                                        "<false/><key>n</key><integer>2</integer>"
                                                                        "</dict>")}}});
    EXPECT_TRUE(r.preventSimultaneousLogin());
    EXPECT_TRUE(r.vexBoolFlag("n", false));
    EXPECT_TRUE(r.vexBoolFlag("missing", true));
    ASSERT_TRUE(r.override());
    EXPECT_TRUE(r.override()->contains("vexAttrTypePrivate:vexFlagsDictionary")) << "parsed once and kept";

    auto changed = r;
    EXPECT_TRUE(changed.setVEXFlagsDictionary(Dictionary{{"simultaneous_login_enabled", true}}));
    EXPECT_FALSE(changed.preventSimultaneousLogin());
    EXPECT_TRUE(r.preventSimultaneousLogin());

    for (const auto* text : {"<damaged", "<plist version=\"1.0\"><array/></plist>"}) {
        SCOPED_TRACE(text);
        const auto broken = record(kUserRecordType, {{kFlagsAttribute, Array{text}}});
        EXPECT_EQ(broken.vexFlagsDictionary(), std::nullopt);
        EXPECT_FALSE(broken.preventSimultaneousLogin());
        EXPECT_FALSE(broken.override()) << "nothing is kept of what cannot be read";
        EXPECT_EQ(broken.vexFlags(), PropertyList(text));
    }
    EXPECT_FALSE(record(kUserRecordType, {}).preventSimultaneousLogin());
    EXPECT_EQ(record(kGroupRecordType, {{kSettingsAttribute, Array{"a", 1}}}).vexSettings(), (Array{"a", 1}));
}

TEST_F(AmruExtensionsTest, NetworkHomes)
{
    struct Case {
        const char* path;
        bool network;
    } const cases[] = {
        {"/Network/Servers/srv/Users/jo", true}, {"/Network", false}, {"/NetworkHomes/jo", false}, {"/home/jo", false}};
    for (const auto& c : cases) {
        SCOPED_TRACE(c.path);
        const auto local = record(kUserRecordType, {{kHomeAttribute, Array{c.path}}});
        EXPECT_EQ(local.hasNetworkHome(), c.network);
        EXPECT_FALSE(local.hasNetworkOriginalHome());
        const auto original = record(kUserRecordType, {{kOriginalHomeAttribute, Array{c.path}}});
        EXPECT_EQ(original.hasNetworkOriginalHome(), c.network);
        EXPECT_FALSE(original.hasNetworkHome());
    }
}

} // namespace

} // namespace roamer
