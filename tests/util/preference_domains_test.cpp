#include "util/preference_domains.h"

#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include "platform/linux/preference_store.h"
#include "platform/linux/property_list_codec.h"
#include "tests/fakes/recording_log.h"
#include "tests/fakes/temp_root.h"

namespace roamer
{

namespace
{

using platform::PropertyListCodec;

class PreferenceDomainsTest : public testing::Test
{
protected:
    bool isFile(const std::string& productPath) const
    {
        return std::filesystem::is_regular_file(root.real(productPath));
    }

    fakes::TempRoot root;
    fakes::RecordingLog log;
    std::unique_ptr<PropertyListCodec> codec = platform::makePropertyListCodec();
    std::unique_ptr<platform::PreferenceStore> store = platform::makePreferenceStore(*codec);
    PreferenceDomains domains{*store, *codec};
    const Dictionary dictionary{{"key", "value"}, {"date", Date(std::chrono::milliseconds(1'234'567'890'500))}};
    const std::string home = root.real("/home/jo");
};

} // namespace

TEST_F(PreferenceDomainsTest, WritesEachDomainToItsConventionalFileAndReadsItBack)
{
    std::filesystem::create_directories(home + "/Library/Preferences/ByHost");
    std::filesystem::create_directories(root.real("/Library/Preferences"));

    EXPECT_TRUE(domains.writePrefsInDomain(dictionary, "com.a", home));
    EXPECT_TRUE(isFile("/home/jo/Library/Preferences/com.a.plist"));
    EXPECT_EQ(domains.dictionaryWithPrefsFromDomain("com.a", home), dictionary);

    EXPECT_TRUE(domains.writePrefsInDomain(dictionary, "com.a", home, "0a1b2c3d4e5f"));
    EXPECT_TRUE(isFile("/home/jo/Library/Preferences/ByHost/com.a.0a1b2c3d4e5f.plist"));
    EXPECT_EQ(domains.dictionaryWithPrefsFromDomain("com.a", home, "0a1b2c3d4e5f"), dictionary);

    EXPECT_TRUE(domains.writePrefsInDomain(dictionary, "com.a"));
    EXPECT_TRUE(isFile("/Library/Preferences/com.a.plist"));
    EXPECT_EQ(domains.dictionaryWithPrefsFromDomain("com.a"), dictionary);
}

TEST_F(PreferenceDomainsTest, MakesManagedFoldersWhenTheFirstWriteFails)
{
    const mode_t before = umask(077);
    EXPECT_TRUE(domains.writeManagedPrefsInDomain(dictionary, "com.a", "jo"));
    umask(before);
    EXPECT_TRUE(isFile("/Library/Managed Preferences/jo/com.a.plist"));
    EXPECT_EQ(domains.dictionaryWithManagedPrefsFromDomain("com.a", "jo"), dictionary);
    EXPECT_EQ(domains.dictionaryWithManagedPrefsFromDomain("com.a", "ann"), std::nullopt);
    struct stat info {
    };
    ASSERT_EQ(stat(root.real("/Library/Managed Preferences/jo").c_str(), &info), 0);
    EXPECT_EQ(info.st_mode & 07777U, 0755U);

    EXPECT_TRUE(domains.writeManagedPrefsInDomain(dictionary, "com.a"));
    EXPECT_TRUE(isFile("/Library/Managed Preferences/com.a.plist"));
    EXPECT_EQ(domains.dictionaryWithManagedPrefsFromDomain("com.a"), dictionary);
}

TEST_F(PreferenceDomainsTest, AUserNameCannotLeadOutOfTheManagedFolder)
{
    EXPECT_FALSE(domains.writeManagedPrefsInDomain(dictionary, "com.a", "../.."));
    EXPECT_FALSE(domains.writeManagedPrefsInDomain(dictionary, "../com.a", "jo"));
    EXPECT_FALSE(std::filesystem::exists(root.real("/com.a.plist")));
}

TEST_F(PreferenceDomainsTest, MissingAndBrokenFilesAreNullWithoutALogLine)
{
    const std::string path = home + "/Library/Preferences/com.a.plist";
    EXPECT_EQ(domains.dictionaryWithPrefsFromDomain("com.a", home), std::nullopt);
    for (const char* content : {"", "not a property list", "<plist><array/></plist>", "bplist00"}) {
        fakes::TempRoot::writeFile(path, content);
        EXPECT_EQ(domains.dictionaryWithPrefsFromDomain("com.a", home), std::nullopt) << content;
    }
    EXPECT_TRUE(log.lines.empty());
}

TEST_F(PreferenceDomainsTest, OnlyAFailedUserWriteIsReported)
{
    testing::internal::CaptureStdout();
    EXPECT_FALSE(domains.writePrefsInDomain(dictionary, "com.a", home)); // there is not even a home
    const std::string output = testing::internal::GetCapturedStdout();
    ASSERT_EQ(log.lines.size(), 1U);
    const std::string& text = log.lines.front().text;
    EXPECT_EQ(log.lines.front().level, 0);
    EXPECT_TRUE(text.starts_with("VEXD.writePrefsInDomain"));
    EXPECT_TRUE(text.ends_with("(prefPath should not contain domain ID)"));
    EXPECT_NE(text.find(home + "/Library/Preferences"), std::string::npos);
    EXPECT_NE(text.find("com.a"), std::string::npos);
    EXPECT_EQ(output, text + "\n");
    EXPECT_EQ(log.system, std::vector<std::string>{text});

    EXPECT_FALSE(domains.writePrefsInDomain(dictionary, "com.a", home, "0a1b2c3d4e5f"));
    EXPECT_EQ(log.lines.size(), 1U);
}

TEST_F(PreferenceDomainsTest, WriteToFileUsesTheFormAskedForAndLogsWhatCannotBeWritten)
{
    std::filesystem::create_directories(home);
    const std::string path = home + "/list.plist";
    EXPECT_TRUE(domains.writeToFile(dictionary, path, PropertyListCodec::Format::Xml, true));
    EXPECT_TRUE(fakes::TempRoot::readFile(path).starts_with("<?xml"));
    EXPECT_TRUE(domains.writeToFile(dictionary, path, PropertyListCodec::Format::Binary, false));
    EXPECT_TRUE(fakes::TempRoot::readFile(path).starts_with("bplist00"));
    EXPECT_EQ(domains.dictionaryWithContentsOfFile(path), dictionary);

    const Dictionary unwritable{{"key", "\xff"}};
    EXPECT_FALSE(domains.writeToFile(unwritable, path, PropertyListCodec::Format::Xml, true));
    EXPECT_EQ(log.countContaining("VEXD.writeToFile serialisation returned"), 1);
    EXPECT_EQ(domains.dictionaryWithContentsOfFile(path), dictionary);
    EXPECT_FALSE(domains.writeToFile(dictionary, home + "/none/list.plist", PropertyListCodec::Format::Xml, true));
}

} // namespace roamer
