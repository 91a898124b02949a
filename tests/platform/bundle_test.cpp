#include "platform/linux/bundle.h"

#include <gtest/gtest.h>

#include "platform/linux/property_list_codec.h"
#include "platform/linux/strings_table.h"
#include "platform/linux/user_languages.h"
#include "property_list_bytes.h"
#include "tests/fakes/recording_log.h"
#include "tests/fakes/temp_environment.h"
#include "tests/fakes/temp_root.h"

namespace platform
{

namespace
{

using fakes::TempEnvironment;
using tests::asBytes;
using Names = std::vector<std::string>;

struct StringsCase {
    const char* name;
    std::string text;
    roamer::Dictionary expected;
};

const StringsCase kTables[] = {
    {"nothing", "", {}},
    {"comments", "/* one\n */ // two\n\"a\" /**/ = // three\n \"b\"; // four", {{"a", "b"}}},
    {"escapes", R"("k" = "\"q\" \\ \n\t \U00e4\ud83d\ude00 \'";)", {{"k", "\"q\" \\ \n\t ä\xf0\x9f\x98\x80 '"}}},
    {"bare words", "PAVO_KEY=value;", {{"PAVO_KEY", "value"}}},
    {"a text over two lines", "\"a\"=\"b\nc\";", {{"a", "b\nc"}}},
    {"the last of two", "a=b;a=c;", {{"a", "c"}}},
    {"UTF-8 with a mark", "\xef\xbb\xbf\"ä\"=\"ホーム\";", {{"ä", "ホーム"}}},
    {"UTF-16",
     std::string("\xff\xfe"
                 "a\0=\0\"\0\xe4\0\"\0;\0",
                 14),
     {{"a", "ä"}}},
    {"UTF-16, big end first", std::string("\xfe\xff\0a\0=\0b\0;", 10), {{"a", "b"}}},
};

struct BrokenCase {
    std::string text;
    const char* expectedInError;
};

const BrokenCase kBrokenTables[] = {
    {"\"a\" = \"b\"", "line 1: expected \";\""},
    {"\n\n\"a\" \"b\";", "line 3: expected \"=\""},
    {"\"a\" = \"b", "without a closing quote"},
    {"\"a\" = \"b\\", "without a closing quote"},
    {"/* never ends", "comment without an end"},
    {"\"a\" = ;", "expected a text"},
    {"\"a\" = \"\\U00g0\";", "hexadecimal"},
    {"\"a\" = \"\\Ud83d\";", "half a character"},
    {"\"a\" = \"\xff\";", "not UTF-8"},
    {std::string("\xff\xfe"
                 "a",
                 3),
     "half a UTF-16 unit"},
};

struct LanguageCase {
    const char* name;
    const char* language;
    const char* all;
    const char* messages;
    const char* lang;
    Names expected;
};

const Names kAvailable = {"English", "French", "German", "ja", "pt_BR"};

const LanguageCase kLanguages[] = {
    {"nothing set", "", "", "", "", {"English"}},
    {"the C locale silences LANGUAGE", "de", "C.UTF-8", "", "de_DE.UTF-8", {"English"}},
    {"a language's name", "", "", "", "de_AT.UTF-8@euro", {"German", "English"}},
    {"LC_MESSAGES over LANG", "", "", "fr_FR", "de_DE", {"French", "English"}},
    {"LC_ALL over LC_MESSAGES", "", "ja_JP.UTF-8", "fr_FR", "de_DE", {"ja", "English"}},
    {"LANGUAGE is a list", "xx:pt_BR:fr", "", "", "de_DE", {"pt_BR", "French", "German", "English"}},
    {"another country's language", "", "", "", "pt_PT", {"English"}},
};

class BundleTest : public testing::Test
{
protected:
    void writeResource(const std::string& name, const std::string& content)
    {
        fakes::TempRoot::writeFile(root.real(std::string(kCustodiaBundlePath) + "/Contents/Resources/" + name),
                                   content);
    }

    fakes::TempRoot root;
    TempEnvironment german{{"LANGUAGE", ""}, {"LC_ALL", ""}, {"LC_MESSAGES", ""}, {"LANG", "de_DE.UTF-8"}};
    std::unique_ptr<PropertyListCodec> codec = makePropertyListCodec();
    std::unique_ptr<Bundles> bundles = makeBundles(*codec);
};

} // namespace

TEST(StringsTable, ReadsTexts)
{
    for (const auto& c : kTables) {
        SCOPED_TRACE(c.name);
        const auto result = readStringsTable(asBytes(c.text));
        const auto* texts = std::get_if<roamer::Dictionary>(&result);
        ASSERT_NE(texts, nullptr) << std::get<StringsTableError>(result).text;
        EXPECT_EQ(*texts, c.expected);
    }
}

TEST(StringsTable, TellsWhereItIsBroken)
{
    for (const auto& c : kBrokenTables) {
        const auto result = readStringsTable(asBytes(c.text));
        const auto* error = std::get_if<StringsTableError>(&result);
        ASSERT_NE(error, nullptr) << c.text;
        EXPECT_NE(error->text.find(c.expectedInError), std::string::npos) << error->text;
    }
}

TEST(UserLanguages, ChooseTheLocalizations)
{
    for (const auto& c : kLanguages) {
        SCOPED_TRACE(c.name);
        const TempEnvironment environment{
            {"LANGUAGE", c.language}, {"LC_ALL", c.all}, {"LC_MESSAGES", c.messages}, {"LANG", c.lang}};
        EXPECT_EQ(matchingLocalizations(kAvailable, userLanguages()), c.expected);
    }
    EXPECT_EQ(matchingLocalizations({"ja", "fr"}, {"de"}), Names{"ja"});
    EXPECT_EQ(matchingLocalizations({}, {"de"}), Names{});
}

TEST_F(BundleTest, FindsResourcesAndTextsOfThePreferredLanguage)
{
    writeResource("icon.png", "picture");
    writeResource("English.lproj/localizable.strings", "\"HELLO\" = \"Hello\"; \"BYE\" = \"Bye\";");
    writeResource("German.lproj/localizable.strings",
                  "<plist><dict><key>HELLO</key><string>Hallo</string></dict></plist>");
    const auto bundle = bundles->bundleWithPath(kCustodiaBundlePath);
    ASSERT_NE(bundle, nullptr);
    EXPECT_EQ(bundle->localizations(), (Names{"English", "German"}));
    EXPECT_EQ(bundle->preferredLocalizations(bundle->localizations()).front(), "German");

    const std::string resources = std::string(kCustodiaBundlePath) + "/Contents/Resources/";
    EXPECT_EQ(bundle->pathForResource("icon", "png"), resources + "icon.png");
    EXPECT_EQ(bundle->pathForResource("icon", "tiff"), std::nullopt);
    const auto english = bundle->pathForResource("localizable", "strings", "English");
    EXPECT_EQ(english, resources + "English.lproj/localizable.strings");
    EXPECT_EQ(bundle->dictionaryWithContentsOfFile(*english), (roamer::Dictionary{{"HELLO", "Hello"}, {"BYE", "Bye"}}));

    EXPECT_EQ(bundle->localizedString("HELLO", "localizable"), "Hallo");
    EXPECT_EQ(bundle->localizedString("BYE", "localizable"), "Bye"); // not translated yet
    EXPECT_EQ(bundle->localizedString("NONE", "localizable"), "NONE");
}

TEST_F(BundleTest, TellsItsNameAndVersion)
{
    EXPECT_EQ(bundles->bundleWithPath(kCustodiaBundlePath), nullptr);
    writeResource("icon.png", "picture");
    const auto bundle = bundles->bundleWithPath(kCustodiaBundlePath);
    EXPECT_EQ(bundle->name(), std::nullopt);
    fakes::TempRoot::writeFile(root.real(std::string(kCustodiaBundlePath) + "/Contents/Info.plist"),
                               "<plist><dict><key>BundleName</key><string>Custodia</string>"
                               "<key>BundleVersion</key><string>1.2</string></dict></plist>");
    EXPECT_EQ(bundle->name(), "Custodia");
    EXPECT_EQ(bundle->version(), "1.2");
}

TEST_F(BundleTest, ABrokenTableIsLoggedWithItsLine)
{
    writeResource("broken.strings", "\"a\" = \"b\";\n\"c\"");
    fakes::RecordingLog log;
    const auto bundle = bundles->bundleWithPath(kCustodiaBundlePath);
    EXPECT_EQ(bundle->dictionaryWithContentsOfFile(*bundle->pathForResource("broken", "strings")), std::nullopt);
    EXPECT_EQ(log.countContaining("broken.strings\": line 2: expected \"=\""), 1);
}

} // namespace platform
