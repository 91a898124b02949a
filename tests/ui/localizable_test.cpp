// The shipped texts against the code that asks for them.

#include <filesystem>
#include <gtest/gtest.h>
#include <map>
#include <regex>
#include <set>

#include "platform/linux/bundle.h"
#include "platform/linux/property_list_codec.h"
#include "tests/fakes/temp_root.h"

namespace
{

/// Texts that are filled, and how many values they get. All others are shown as they are.
const std::map<std::string, int> kPlaceholders = {
    {"PAVO_PROG_TITLE", 2},
    {"PAVO_PROG_TITLE_WITH_PARTS", 3},
    {"PAVO_PROG_PATH_MESSAGE", 1},
    {"PAVO_PROG_STATUS_MESSAGE_PROGRESS", 3},
    {"PAVO_PROG_STATUS_MESSAGE_ITEMS", 3},
    {"PAVO_PROG_STATUS_MESSAGE_SYNCPPART_COMPLETE", 1},
    {"PAVO_PROG_STATUS_MESSAGE_SYNCPART_SKIPPED", 1},
    {"PAVO_PROG_STATUS_MESSAGE_BYTES", 1},
    {"PAVO_PROG_STATUS_MESSAGE_KILOBYTES", 1},
    {"PAVO_PROG_STATUS_MESSAGE_MEGABYTES", 1},
    {"PAVO_PROG_STATUS_MESSAGE_GIGABYTES", 1},
    {"PAVO_HOME_NET_HOME_TIME_NEWER_MESSAGE", 2},
};

/// Every text key that is written in the agent's sources.
std::set<std::string> keysInSources()
{
    const std::regex literal("\"(PAVO_[A-Za-z_]+)\"");
    std::set<std::string> keys;
    for (const char* folder : {"ui", "home", "sync", "flows", "server"}) {
        for (const auto& file : std::filesystem::directory_iterator(ROAMER_SOURCE_DIR "/" + std::string(folder))) {
            const auto source = fakes::TempRoot::readFile(file.path());
            for (std::sregex_iterator match(source.begin(), source.end(), literal), end; match != end; ++match)
                keys.insert((*match)[1]);
        }
    }
    return keys;
}

long matches(const std::string& text, const std::regex& pattern)
{
    return std::distance(std::sregex_iterator(text.begin(), text.end(), pattern), std::sregex_iterator());
}

TEST(ShippedTexts, EveryKeyHasItsTextWithTheRightPlaceholders)
{
    const fakes::TempRoot root;
    std::filesystem::create_directories(root.real("/System/Library"));
    std::filesystem::create_directory_symlink(std::filesystem::path(ROAMER_SOURCE_DIR) / "resources",
                                              root.real("/System/Library/Hearth"));
    const auto codec = platform::makePropertyListCodec();
    const auto bundles = platform::makeBundles(*codec);
    const auto bundle = bundles->bundleWithPath(platform::kCustodiaBundlePath);
    ASSERT_NE(bundle, nullptr);
    EXPECT_TRUE(bundle->version());
    EXPECT_TRUE(bundle->pathForResource("mobility_64", "tiff"));
    const auto path = bundle->pathForResource("localizable", "strings", "English");
    std::set<std::string> written;
    const auto texts = bundle->dictionaryWithContentsOfFile(path.value_or(""));
    ASSERT_TRUE(texts);
    for (const auto& [key, value] : *texts) {
        written.insert(key);
        const auto& text = *value.as<std::string>();
        const auto item = kPlaceholders.find(key);
        EXPECT_FALSE(text.empty()) << key;
        EXPECT_EQ(matches(text, std::regex("%@")), item != kPlaceholders.end() ? item->second : 0) << text;
        EXPECT_EQ(matches(text, std::regex("%")), matches(text, std::regex("%@")) + 2 * matches(text, std::regex("%%")))
            << text;
    }
    EXPECT_EQ(written, keysInSources());

    const auto menuExtra = bundles->bundleWithPath(platform::kMenuExtraBundlePath);
    const auto words = menuExtra->dictionaryWithContentsOfFile(
        menuExtra->pathForResource("DateTime", "strings", "English").value_or(""));
    for (const char* key : {"Today at ", "Yesterday at ", "Tomorrow at ", "Today", "Yesterday", "Tomorrow"})
        EXPECT_TRUE(words && words->contains(key)) << key;
}

} // namespace
