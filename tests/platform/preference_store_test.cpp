#include "platform/linux/preference_store.h"

#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include "platform/linux/property_list_codec.h"
#include "property_list_bytes.h"
#include "tests/fakes/temp_root.h"

namespace platform
{

namespace
{

namespace fs = std::filesystem;
using fakes::TempRoot;
using tests::asBytes;
using tests::asText;

class PreferenceStoreTest : public testing::Test
{
protected:
    PreferenceStoreTest() { fs::create_directories(home); }

    static mode_t modeOf(const fs::path& path)
    {
        struct stat info {
        };
        EXPECT_EQ(stat(path.c_str(), &info), 0) << path;
        return info.st_mode & 07777U;
    }
    std::size_t filesInHome() const
    {
        return static_cast<std::size_t>(std::distance(fs::directory_iterator(home), fs::directory_iterator()));
    }

    TempRoot root;
    std::unique_ptr<PropertyListCodec> codec = makePropertyListCodec();
    std::unique_ptr<PreferenceStore> store = makePreferenceStore(*codec);
    const fs::path home = root.real("/home/jo");
    const std::string file = home / "file.plist";
};

} // namespace

TEST_F(PreferenceStoreTest, ReplacesAtomicallyAndKeepsTheMode)
{
    EXPECT_TRUE(store->writeFile(file, asBytes("one"), true));
    chmod(file.c_str(), 0640);
    struct stat before {
    };
    ASSERT_EQ(stat(file.c_str(), &before), 0);
    fs::create_hard_link(file, home / "held");

    EXPECT_TRUE(store->writeFile(file, asBytes("two"), true));
    EXPECT_EQ(TempRoot::readFile(file), "two");
    EXPECT_EQ(TempRoot::readFile(home / "held"), "one"); // whoever reads the old file reads it whole
    EXPECT_EQ(modeOf(file), 0640U);
    EXPECT_EQ(filesInHome(), 2U);

    EXPECT_TRUE(store->writeFile(home / "held", asBytes("three"), false));
    EXPECT_EQ(TempRoot::readFile(home / "held"), "three");
}

TEST_F(PreferenceStoreTest, KeepsTheOwner)
{
    if (geteuid() != 0) GTEST_SKIP() << "only the superuser makes files of others";
    TempRoot::writeFile(file, "one");
    ASSERT_EQ(chown(file.c_str(), 12345, 23456), 0);
    EXPECT_TRUE(store->writeFile(file, asBytes("two"), true));
    struct stat info {
    };
    ASSERT_EQ(stat(file.c_str(), &info), 0);
    EXPECT_EQ(info.st_uid, 12345U);
    EXPECT_EQ(info.st_gid, 23456U);
}

TEST_F(PreferenceStoreTest, ANewFileFollowsTheMask)
{
    const mode_t before = umask(027);
    EXPECT_TRUE(store->writeFile(file, asBytes("one"), true));
    umask(before);
    EXPECT_EQ(modeOf(file), 0640U);
}

TEST_F(PreferenceStoreTest, WritesThroughALinkOfTheSameOwnerOnly)
{
    TempRoot::writeFile(home / "kept/real.plist", "one");
    fs::create_symlink("kept/real.plist", file);
    EXPECT_TRUE(store->writeFile(file, asBytes("two"), true));
    EXPECT_TRUE(fs::is_symlink(file));
    EXPECT_EQ(TempRoot::readFile(home / "kept/real.plist"), "two");

    if (geteuid() != 0) GTEST_SKIP() << "only the superuser makes links of others";
    ASSERT_EQ(lchown(file.c_str(), 12345, 12345), 0);
    for (const bool atomically : {true, false})
        EXPECT_FALSE(store->writeFile(file, asBytes("three"), atomically));
    EXPECT_EQ(TempRoot::readFile(home / "kept/real.plist"), "two");
}

TEST_F(PreferenceStoreTest, AWriteThatFailsLeavesEverythingAsItWas)
{
    fs::create_directories(home / "folder/inside");
    fs::create_symlink("nowhere", home / "dangling");
    for (const bool atomically : {true, false}) {
        EXPECT_FALSE(store->writeFile(home / "missing/file", asBytes("x"), atomically));
        EXPECT_FALSE(store->writeFile(home / "folder", asBytes("x"), atomically));
        EXPECT_FALSE(store->writeFile(home / "dangling", asBytes("x"), atomically));
    }
    EXPECT_TRUE(fs::is_directory(home / "folder/inside"));
    EXPECT_EQ(filesInHome(), 2U);
}

TEST_F(PreferenceStoreTest, ReadsRegularFilesOnly)
{
    TempRoot::writeFile(file, "content");
    ASSERT_EQ(mkfifo((home / "pipe").c_str(), 0600), 0);
    const auto bytes = store->readFile(file);
    ASSERT_TRUE(bytes);
    EXPECT_EQ(asText(*bytes), "content");
    for (const char* name : {"pipe", "missing", "."})
        EXPECT_EQ(store->readFile(home / name), std::nullopt) << name;
}

TEST_F(PreferenceStoreTest, MakesThePreferencesFolderOfAHomeButNoOther)
{
    const roamer::Dictionary dictionary{{"a", 1}};
    EXPECT_FALSE(store->writeDomain(dictionary, home / "Library/Preferences", "com.a")); // nor its parents
    fs::create_directory(home / "Library");
    EXPECT_FALSE(store->writeDomain(dictionary, home / "Library/ByHost", "com.a"));
    EXPECT_TRUE(store->writeDomain(dictionary, home / "Library/Preferences", "com.a"));
    EXPECT_EQ(modeOf(home / "Library/Preferences"), 0700U);
    EXPECT_TRUE(TempRoot::readFile(home / "Library/Preferences/com.a.plist").starts_with("bplist00"));
}

} // namespace platform
