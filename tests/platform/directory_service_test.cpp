#include <cerrno>
#include <filesystem>
#include <memory>
#include <optional>
#include <pwd.h>
#include <string>
#include <sys/stat.h>
#include <unistd.h>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "platform/linux/directory_service.h"
#include "platform/linux/property_list_codec.h"
#include "tests/fakes/temp_root.h"

namespace platform
{

namespace
{

namespace fs = std::filesystem;
using roamer::Array;
using roamer::Dictionary;
using roamer::PropertyList;

constexpr const char* kUsers = "axRecTypeStandard:Users";

std::string recordText(const std::string& content)
{
    return "<plist version=\"1.0\"><dict>" + content + "</dict></plist>";
}

class DirectoryServiceTest : public testing::Test
{
protected:
    void writeRecord(const std::string& file, const std::string& content)
    {
        fakes::TempRoot::writeFile(root.real("/Library/Directory/Local/" + file), content);
    }
    std::shared_ptr<DirectoryRecord> lookUp(const std::string& type, const std::string& name)
    {
        const auto node = directory->openNode(kLocalNodeType, error);
        EXPECT_TRUE(node);
        error = {1, "left from before"};
        return node ? node->lookUp(type, name, {"axAttributesStandardAll"}, error) : nullptr;
    }

    fakes::TempRoot root;
    std::unique_ptr<PropertyListCodec> codec = makePropertyListCodec();
    std::unique_ptr<DirectoryService> directory = makeDirectoryService(*codec);
    DirectoryError error;
};

TEST_F(DirectoryServiceTest, TheFileMakesTheRecord)
{
    const auto* self = getpwuid(getuid());
    ASSERT_NE(self, nullptr);
    const std::string name = self->pw_name;
    EXPECT_EQ(directory->loginName(), name);
    EXPECT_EQ(lookUp(kUsers, name), nullptr) << "not without a file, whatever the passwd database says";
    EXPECT_EQ(error.code, 0);

    writeRecord("Users/" + name + ".plist", recordText("<key>axAttrTypeNative:note</key><string>enrolled</string>"));
    const auto record = lookUp(kUsers, name);
    ASSERT_TRUE(record);
    EXPECT_EQ(error.code, 0);
    EXPECT_EQ(record->recordType(), kUsers);
    EXPECT_EQ(record->recordName(), name);
    const auto value = [&record](const std::string& attribute) { return record->valuesForAttribute(attribute); };
    EXPECT_EQ(value("axAttrTypeStandard:RecordName"), (Array{name}));
    EXPECT_EQ(value("axAttrTypeStandard:UniqueID"), (Array{std::to_string(self->pw_uid)}));
    EXPECT_EQ(value("axAttrTypeStandard:PrimaryGroupID"), (Array{std::to_string(self->pw_gid)}));
    EXPECT_EQ(value("axAttrTypeStandard:NFSHomeDirectory"), (Array{std::string(self->pw_dir)}));
    EXPECT_EQ(value("axAttrTypeStandard:KestrelMetaNodeLocation"), (Array{kLocalNodeName}));
    EXPECT_EQ(value("axAttrTypeNative:note"), (Array{"enrolled"}));
    EXPECT_EQ(value("axAttrTypeStandard:Picture"), std::nullopt);
}

TEST_F(DirectoryServiceTest, WhatTheFileSaysStands)
{
    writeRecord("Users/root.plist", recordText("<key>axAttrTypeStandard:UniqueID</key><integer>501</integer>"
                                               "<key>axAttrTypeStandard:PrimaryGroupID</key><array/>"
                                               "<key>axAttrTypeStandard:RealName</key>"
                                               "<array><string>Jo Doe</string><string>Jo</string></array>"
                                               "<key>axAttrTypeStandard:NFSHomeDirectory</key>"
                                               "<array><string>/home/jo</string></array>"
                                               "<key>axAttrTypeStandard:KestrelMetaNodeLocation</key>"
                                               "<string>/LDAPv3/server</string>"));
    const auto record = lookUp(kUsers, "root");
    ASSERT_TRUE(record);
    const auto details = record->recordDetailsForAttributes(std::nullopt);
    EXPECT_EQ(details, (Dictionary{
                           {"axAttrTypeStandard:RecordName", Array{"root"}},
                           {"axAttrTypeStandard:UniqueID", Array{"501"}},
                           {"axAttrTypeStandard:PrimaryGroupID", Array{"0"}}, // an empty array says nothing
                           {"axAttrTypeStandard:RealName", Array{"Jo Doe", "Jo"}},
                           {"axAttrTypeStandard:NFSHomeDirectory", Array{"/home/jo"}},
                           {"axAttrTypeStandard:KestrelMetaNodeLocation", Array{"/LDAPv3/server"}},
                       }));
}

TEST_F(DirectoryServiceTest, DetailsByListAndGroup)
{
    writeRecord("Computers/desk.plist", recordText("<key>axAttrTypeStandard:RealName</key><string>Desk</string>"
                                                   "<key>axAttrTypeNative:note</key><string>n</string>"));
    const auto record = lookUp("axRecTypeStandard:Computers", "desk");
    ASSERT_TRUE(record);
    using Names = std::vector<std::string>;
    const auto names = [&record](const std::optional<Names>& attributes) {
        Names found;
        for (const auto& [name, values] : record->recordDetailsForAttributes(attributes).value_or(Dictionary{}))
            found.push_back(name);
        return found;
    };
    const Names all{"axAttrTypeNative:note", "axAttrTypeStandard:KestrelMetaNodeLocation",
                    "axAttrTypeStandard:RealName", "axAttrTypeStandard:RecordName"};
    const Names standard(all.begin() + 1, all.end());
    EXPECT_EQ(names(std::nullopt), all);
    EXPECT_EQ(names(Names{"axAttributesAll"}), all);
    EXPECT_EQ(names(Names{"axAttributesStandardAll"}), standard);
    EXPECT_EQ(names(Names{"axAttributesNativeAll"}), Names{"axAttrTypeNative:note"});
    EXPECT_EQ(names(Names{"axAttrTypeStandard:RealName", "axAttrTypeStandard:None"}),
              Names{"axAttrTypeStandard:RealName"});
    EXPECT_EQ(record->recordDetailsForAttributes(Names{"axAttrTypeStandard:None"}), std::nullopt);
}

TEST_F(DirectoryServiceTest, GroupsAndStrangersAreCompletedAsFarAsTheyAreKnown)
{
    writeRecord("Groups/root.plist", recordText(""));
    const auto group = lookUp("axRecTypeStandard:Groups", "root");
    ASSERT_TRUE(group);
    EXPECT_EQ(group->valuesForAttribute("axAttrTypeStandard:PrimaryGroupID"), (Array{"0"}));
    EXPECT_EQ(lookUp(kUsers, "root"), nullptr) << "each type has a folder of its own";
    EXPECT_EQ(lookUp("axRecTypeStandard:Printers", "root"), nullptr);
    EXPECT_EQ(error.code, 0);

    writeRecord("Users/no-such-login.plist", recordText(""));
    const auto stranger = lookUp(kUsers, "no-such-login");
    ASSERT_TRUE(stranger);
    EXPECT_EQ(stranger->valuesForAttribute("axAttrTypeStandard:UniqueID"), std::nullopt);
}

TEST_F(DirectoryServiceTest, ARecordThatDoesNotAnswerIsNotAMissingOne)
{
    writeRecord("Users/damaged.plist", "<plist version=\"1.0\"><dict><key>a</key>");
    writeRecord("Users/empty.plist", "");
    writeRecord("Users/array.plist", "<plist version=\"1.0\"><array/></plist>");
    fs::create_directories(root.real("/Library/Directory/Local/Users/folder.plist"));
    writeRecord("Users/huge.plist", "");
    fs::resize_file(root.real("/Library/Directory/Local/Users/huge.plist"), std::uintmax_t{1} << 30);
    fs::create_symlink("loop.plist", root.real("/Library/Directory/Local/Users/loop.plist"));
    ASSERT_EQ(mkfifo(root.real("/Library/Directory/Local/Users/pipe.plist").c_str(), 0600), 0);
    for (const auto* name : {"damaged", "empty", "array", "folder", "huge", "loop", "pipe"}) {
        SCOPED_TRACE(name);
        EXPECT_EQ(lookUp(kUsers, name), nullptr);
        EXPECT_NE(error.code, 0);
        EXPECT_THAT(error.description, testing::HasSubstr(std::string("/Users/") + name + ".plist"));
    }
}

TEST_F(DirectoryServiceTest, NamesNeverLeadOutOfTheFolder)
{
    writeRecord("secret.plist", recordText(""));
    writeRecord("Users/.plist", recordText(""));
    writeRecord("Users/.hidden.plist", recordText(""));
    writeRecord("Users/a/b.plist", recordText(""));
    for (const auto& name : {std::string("../secret"), std::string(), std::string(".hidden"), std::string("a/b"),
                             std::string("secret\0x", 8)}) {
        SCOPED_TRACE(name);
        EXPECT_EQ(lookUp(kUsers, name), nullptr);
        EXPECT_EQ(error.code, EINVAL);
    }
}

TEST_F(DirectoryServiceTest, OpeningTheNode)
{
    const auto node = directory->openNode(kLocalNodeType, error);
    ASSERT_TRUE(node) << "a computer without records has a local node all the same";
    EXPECT_EQ(error.code, 0);
    EXPECT_EQ(node->nodeName(), kLocalNodeName);

    EXPECT_EQ(directory->openNode(0x2201, error), nullptr);
    EXPECT_NE(error.code, 0);

    fakes::TempRoot::writeFile(root.real("/Library/Directory/Local"), "no folder");
    EXPECT_EQ(directory->openNode(kLocalNodeType, error), nullptr);
    EXPECT_EQ(error.code, ENOTDIR);
    EXPECT_THAT(error.description, testing::HasSubstr("/Library/Directory/Local"));
    EXPECT_THAT(error.description, testing::Not(testing::HasSubstr(root.path().string())));
}

} // namespace

} // namespace platform
