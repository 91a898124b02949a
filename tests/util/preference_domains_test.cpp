#include "util/preference_domains.h"

#include <gtest/gtest.h>

#include "platform/linux/preference_store.h"
#include "platform/linux/property_list_codec.h"
#include "tests/fakes/recording_log.h"
#include "tests/fakes/temp_root.h"

namespace
{

using namespace roamer;

class PreferenceDomainsTest : public testing::Test
{
protected:
    bool isFile(const std::string& path) const { return std::filesystem::is_regular_file(root.real(path)); }

    fakes::TempRoot root;
    fakes::RecordingLog log;
    std::unique_ptr<platform::PropertyListCodec> codec = platform::makePropertyListCodec();
    std::unique_ptr<platform::PreferenceStore> store = platform::makePreferenceStore(*codec);
    PreferenceDomains domains{*store, *codec};
    const Dictionary dictionary{{"key", "value"}, {"date", Date(std::chrono::milliseconds(1'234'567'890'500))}};
    const std::string home = root.real("/home/jo");
};

TEST_F(PreferenceDomainsTest, EachDomainLiesInItsConventionalFile)
{
    std::filesystem::create_directories(home + "/Library/Preferences/ByHost");
    std::filesystem::create_directories(root.real("/Library/Preferences"));
    EXPECT_TRUE(domains.writePrefsInDomain(dictionary, "com.a", home));
    EXPECT_TRUE(domains.writePrefsInDomain(dictionary, "com.a", home, "0a1b2c3d4e5f"));
    EXPECT_TRUE(domains.writePrefsInDomain(dictionary, "com.a"));
    EXPECT_TRUE(domains.writeManagedPrefsInDomain(dictionary, "com.a", "jo")) << "makes the folders";
    EXPECT_TRUE(domains.writeManagedPrefsInDomain(dictionary, "com.a"));
    for (const char* path :
         {"/home/jo/Library/Preferences/com.a.plist", "/home/jo/Library/Preferences/ByHost/com.a.0a1b2c3d4e5f.plist",
          "/Library/Preferences/com.a.plist", "/Library/Managed Preferences/com.a.plist"})
        EXPECT_TRUE(isFile(path)) << path;
    EXPECT_EQ(domains.dictionaryWithPrefsFromDomain("com.a", home, "0a1b2c3d4e5f"), dictionary);
    EXPECT_EQ(domains.dictionaryWithManagedPrefsFromDomain("com.a", "jo"), dictionary);
    EXPECT_EQ(domains.dictionaryWithManagedPrefsFromDomain("com.a", "ann"), std::nullopt);
    EXPECT_FALSE(domains.writeManagedPrefsInDomain(dictionary, "com.a", "../..")) << "a name leads nowhere else";
    EXPECT_FALSE(domains.writeManagedPrefsInDomain(dictionary, "../com.a", "jo"));
}

TEST_F(PreferenceDomainsTest, MissingAndBrokenFilesAreNullAndOnlyAFailedUserWriteIsReported)
{
    EXPECT_EQ(domains.dictionaryWithPrefsFromDomain("com.a", home), std::nullopt);
    for (const char* content : {"", "not a property list", "<plist><array/></plist>", "bplist00"}) {
        fakes::TempRoot::writeFile(home + "/Library/Preferences/com.a.plist", content);
        EXPECT_EQ(domains.dictionaryWithPrefsFromDomain("com.a", home), std::nullopt) << content;
    }
    EXPECT_TRUE(log.lines.empty());
    EXPECT_FALSE(domains.writePrefsInDomain(dictionary, "com.a", home + "/none"));
    EXPECT_EQ(log.system.size(), 1U);
    EXPECT_FALSE(domains.writePrefsInDomain(dictionary, "com.a", home + "/none", "0a1b2c3d4e5f"));
    EXPECT_EQ(log.system.size(), 1U);
}

} // namespace
