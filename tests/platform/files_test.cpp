// Real files: the preference store and the system root.

#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include "platform/linux/preference_store.h"
#include "platform/linux/property_list_codec.h"
#include "platform/system_root.h"
#include "property_list_bytes.h"
#include "tests/fakes/temp_environment.h"
#include "tests/fakes/temp_root.h"

namespace
{

namespace fs = std::filesystem;
using fakes::TempRoot;
using tests::asBytes;

class PreferenceStoreTest : public testing::Test
{
protected:
    PreferenceStoreTest() { fs::create_directories(home); }

    static struct stat statOf(const fs::path& path)
    {
        struct stat info {
        };
        EXPECT_EQ(stat(path.c_str(), &info), 0) << path;
        info.st_mode &= 07777U;
        return info;
    }
    auto filesInHome() const { return std::distance(fs::directory_iterator(home), fs::directory_iterator()); }

    TempRoot root;
    std::unique_ptr<platform::PropertyListCodec> codec = platform::makePropertyListCodec();
    std::unique_ptr<platform::PreferenceStore> store = platform::makePreferenceStore(*codec);
    const fs::path home = root.real("/home/jo");
    const std::string file = home / "file.plist";
};

TEST_F(PreferenceStoreTest, ReplacesAtomicallyAndKeepsModeAndOwner)
{
    const mode_t mask = umask(027);
    EXPECT_TRUE(store->writeFile(file, asBytes("one"), true));
    umask(mask);
    EXPECT_EQ(statOf(file).st_mode, 0640U) << "a new file follows the mask";
    const bool isSuperuser = chown(file.c_str(), 12345, 23456) == 0;
    chmod(file.c_str(), 0604);
    fs::create_hard_link(file, home / "held");

    EXPECT_TRUE(store->writeFile(file, asBytes("two"), true));
    EXPECT_EQ(TempRoot::readFile(file), "two");
    EXPECT_EQ(TempRoot::readFile(home / "held"), "one") << "whoever reads the old file reads it whole";
    EXPECT_EQ(filesInHome(), 2);
    EXPECT_EQ(statOf(file).st_mode, 0604U);
    EXPECT_EQ(statOf(file).st_uid, isSuperuser ? 12345U : geteuid());
    EXPECT_EQ(statOf(file).st_gid, isSuperuser ? 23456U : getegid());
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
    ASSERT_EQ(mkfifo((home / "pipe").c_str(), 0600), 0);
    for (const char* name : {"missing/file", "folder", "dangling"}) {
        for (const bool atomically : {true, false})
            EXPECT_FALSE(store->writeFile(home / name, asBytes("x"), atomically)) << name;
    }
    for (const char* name : {"pipe", "missing", "folder"})
        EXPECT_EQ(store->readFile(home / name), std::nullopt) << name;
    EXPECT_TRUE(fs::is_directory(home / "folder/inside"));
    EXPECT_EQ(filesInHome(), 3);
}

TEST(SystemRoot, StandsBeforeProductPathsOnly)
{
    for (const char* root : {"/r", "/r//"}) {
        const fakes::TempEnvironment environment{{"ROAMER_ROOT", root}};
        for (const char* path : {"/Library/Logs", "/Library", "/System/Library/Hearth", "/Volumes/jo", "/Network/a"})
            EXPECT_EQ(platform::systemPath(path), std::string("/r") + path);
        for (const char* path : {"/Libraries", "/home/jo/Library/Preferences", "/dev/null", "Library/Logs", "/", ""})
            EXPECT_EQ(platform::systemPath(path), path);
    }
}

} // namespace
