// Who there is: directory records, identities, and acting as one of them.

#include <cerrno>
#include <gmock/gmock.h>
#include <pwd.h>
#include <sys/stat.h>
#include <unistd.h>

#include "platform/linux/directory_service.h"
#include "platform/linux/effective_user.h"
#include "platform/linux/identity_service.h"
#include "platform/linux/property_list_codec.h"
#include "tests/fakes/temp_root.h"
#include "util/property_list_text.h"

namespace
{

namespace fs = std::filesystem;
using roamer::Array;
using roamer::Dictionary;
using Names = std::vector<std::string>;

constexpr const char* kUsers = "axRecTypeStandard:Users";

class DirectoryServiceTest : public testing::Test
{
protected:
    fs::path real(const std::string& file) const { return root.real("/Library/Directory/Local/" + file); }
    void writeRecord(const std::string& file, const std::string& content)
    {
        fakes::TempRoot::writeFile(real(file), "<plist><dict>" + content + "</dict></plist>");
    }
    std::shared_ptr<platform::DirectoryRecord> lookUp(const std::string& type, const std::string& name)
    {
        const auto node = directory->openNode(platform::kLocalNodeType, error);
        error = {1, "left from before"};
        return node->lookUp(type, name, {"axAttributesStandardAll"}, error);
    }

    fakes::TempRoot root;
    std::unique_ptr<platform::PropertyListCodec> codec = platform::makePropertyListCodec();
    std::unique_ptr<platform::DirectoryService> directory = platform::makeDirectoryService(*codec);
    platform::DirectoryError error;
};

TEST_F(DirectoryServiceTest, TheFileMakesTheRecordAndTheAccountCompletesIt)
{
    const auto* self = getpwuid(getuid());
    const std::string name = directory->loginName();
    EXPECT_EQ(name, self->pw_name);
    EXPECT_EQ(lookUp(kUsers, name), nullptr) << "not without a file, whatever the passwd database says";
    EXPECT_EQ(error.code, 0);

    writeRecord("Users/" + name + ".plist", "<key>axAttrTypeStandard:PrimaryGroupID</key><array/>"
                                            "<key>axAttrTypeStandard:UniqueID</key><integer>501</integer>");
    const auto record = lookUp(kUsers, name);
    ASSERT_TRUE(record);
    EXPECT_EQ(error.code, 0);
    const Dictionary expected{
        {"axAttrTypeStandard:UniqueID", Array{"501"}},                              // what the file says stands
        {"axAttrTypeStandard:PrimaryGroupID", Array{std::to_string(self->pw_gid)}}, // an empty array says nothing
    };
    EXPECT_EQ(
        record->recordDetailsForAttributes(Names{"axAttrTypeStandard:UniqueID", "axAttrTypeStandard:PrimaryGroupID"}),
        expected);
}

TEST_F(DirectoryServiceTest, ARecordThatDoesNotAnswerIsNotAMissingOne)
{
    for (const auto& [name, content] : {std::pair("damaged", "<plist><dict><key>a"),
                                        {"array", "<plist><array/></plist>"},
                                        {"empty", ""},
                                        {"huge", ""}})
        fakes::TempRoot::writeFile(real("Users/" + std::string(name) + ".plist"), content);
    fs::resize_file(real("Users/huge.plist"), std::uintmax_t{1} << 30);
    fs::create_directories(real("Users/folder.plist"));
    fs::create_symlink("loop.plist", real("Users/loop.plist"));
    ASSERT_EQ(mkfifo(real("Users/pipe.plist").c_str(), 0600), 0);
    for (const auto* name : {"damaged", "empty", "array", "folder", "huge", "loop", "pipe"}) {
        SCOPED_TRACE(name);
        EXPECT_EQ(lookUp(kUsers, name), nullptr);
        EXPECT_NE(error.code, 0);
        EXPECT_THAT(error.description, testing::HasSubstr(std::string("/Users/") + name + ".plist"));
    }
}

TEST_F(DirectoryServiceTest, NamesNeverLeadOutOfTheFolder)
{
    for (const char* file : {"secret.plist", "Users/.plist", "Users/.hidden.plist", "Users/a/b.plist"})
        writeRecord(file, "");
    for (const auto& name : {std::string("../secret"), std::string(), std::string(".hidden"), std::string("a/b"),
                             std::string("secret\0x", 8)}) {
        EXPECT_EQ(lookUp(kUsers, name), nullptr) << name;
        EXPECT_EQ(error.code, EINVAL) << name;
    }
}

TEST(IdentityService, UuidsNeverChangeAndMembershipIsOfKnownAccountsOnly)
{
    const auto identity = platform::makeIdentityService();
    const auto root = std::get<platform::Uuid>(identity->uuidOfUserName("root"));
    const auto staff = std::get<platform::Uuid>(identity->uuidOfGid(20));
    // Stored by whoever asked: other values here would orphan what is kept under them.
    EXPECT_EQ(roamer::stringWithUUIDRef(&root), "374E2655-46EC-58AA-A42C-22F0EEDFE92B");
    EXPECT_EQ(roamer::stringWithUUIDRef(&staff), "3D125B7A-03B8-5353-939F-341DFE983960");

    const auto daemon = std::get<platform::Uuid>(identity->uuidOfUserName("daemon"));
    EXPECT_TRUE(std::get<bool>(identity->isMember(daemon, 1)));
    EXPECT_FALSE(std::get<bool>(identity->isMember(daemon, 0)));
    const auto code = [](const auto& answer) { return std::get<platform::IdentityService::Error>(answer).code; };
    EXPECT_EQ(code(identity->uuidOfUserName("no-such-login")), ENOENT);
    EXPECT_EQ(code(identity->isMember(identity->randomUuid(), 0)), ENOENT);
    const auto nobodys = std::get<platform::Uuid>(identity->uuidOfUid(4'000'000'000U));
    EXPECT_EQ(code(identity->isMember(nobodys, 0)), ENOENT) << "an id without an account is in no group";
}

std::vector<gid_t> groups()
{
    std::vector<gid_t> all(256);
    all.resize(static_cast<std::size_t>(std::max(getgroups(256, all.data()), 0)));
    return all;
}

TEST(EffectiveUser, ActsAsAnotherWithItsGroupsAndComesBack)
{
    if (geteuid() != 0) GTEST_SKIP() << "only the superuser may act as others";
    const auto user = platform::makeEffectiveUser();
    const auto groupsBefore = groups();
    {
        const auto guard = user->switchTo(65534U);
        {
            const auto inner = user->switchTo(3'999'999);
            EXPECT_EQ(user->effectiveUid(), 3'999'999U) << "unknown to the system: only a number";
        }
        EXPECT_EQ(user->effectiveUid(), 65534U);
        EXPECT_EQ(user->realUid(), 0U);
        EXPECT_NE(getegid(), 0U);
        EXPECT_EQ(std::ranges::count(groups(), 0U), 0) << "no rights of the superuser's groups";
    }
    EXPECT_EQ(user->effectiveUid(), 0U);
    EXPECT_EQ(getegid(), 0U);
    EXPECT_EQ(groups(), groupsBefore);
}

} // namespace
