// The shipped texts against the code that asks for them.

#include <gtest/gtest.h>
#include <regex>
#include <set>

#include "platform/linux/bundle.h"
#include "platform/linux/property_list_codec.h"
#include "tests/fakes/temp_environment.h"
#include "tests/fakes/temp_root.h"

namespace
{

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

/// The values that a text has places for: {1, 2} for "%@ of %@" and for "%2$@: %1$@". A percent sign that is neither a
/// place nor doubled counts as place 0.
std::multiset<int> placesIn(const std::string& text)
{
    std::multiset<int> places;
    int next = 0;
    const std::regex percent("%(%|@|([1-9])\\$@|)");
    for (std::sregex_iterator match(text.begin(), text.end(), percent), end; match != end; ++match) {
        const auto what = match->str(1);
        if (what == "%") continue;
        places.insert(what == "@" ? ++next : what.empty() ? 0 : std::stoi(match->str(2)));
    }
    return places;
}

/// The shipped bundles in the place of the installed ones.
struct ShippedRoot : fakes::TempRoot {
    ShippedRoot()
    {
        std::filesystem::create_directories(real("/System/Library"));
        std::filesystem::create_directory_symlink(std::filesystem::path(ROAMER_SOURCE_DIR) / "resources",
                                                  real("/System/Library/Hearth"));
    }
};

class ShippedTexts : public testing::Test
{
protected:
    std::optional<roamer::Dictionary> table(const platform::Bundle& bundle, const std::string& name,
                                            const std::string& language)
    {
        return bundle.dictionaryWithContentsOfFile(bundle.pathForResource(name, "strings", language).value_or(""));
    }

    const ShippedRoot root;
    const std::unique_ptr<platform::PropertyListCodec> codec = platform::makePropertyListCodec();
    const std::unique_ptr<platform::Bundles> bundles = platform::makeBundles(*codec);
    const std::unique_ptr<platform::Bundle> custodia = bundles->bundleWithPath(platform::kCustodiaBundlePath);
    const std::unique_ptr<platform::Bundle> menuExtra = bundles->bundleWithPath(platform::kMenuExtraBundlePath);
};

TEST_F(ShippedTexts, EveryLanguageHasEveryTextWithTheRightPlaces)
{
    EXPECT_TRUE(custodia->version());
    EXPECT_TRUE(custodia->pathForResource("mobility_64", "tiff"));
    const auto keys = keysInSources();
    const auto english = table(*custodia, "localizable", "English").value();
    for (const std::string language : {"English", "French", "German", "Japanese"}) {
        SCOPED_TRACE(language);
        const auto texts = table(*custodia, "localizable", language);
        ASSERT_TRUE(texts);
        std::set<std::string> written;
        for (const auto& [key, value] : *texts) {
            written.insert(key);
            const auto& text = *value.as<std::string>();
            EXPECT_FALSE(text.empty()) << key;
            EXPECT_FALSE(placesIn(text).contains(0)) << text;
            EXPECT_TRUE(english.contains(key) && placesIn(text) == placesIn(*english.at(key).as<std::string>()))
                << text;
        }
        EXPECT_EQ(written, keys);

        const auto words = table(*menuExtra, "DateTime", language);
        for (const char* key : {"Today at ", "Yesterday at ", "Tomorrow at ", "Today", "Yesterday", "Tomorrow"})
            EXPECT_TRUE(words && words->contains(key)) << key;
        const auto button = table(*menuExtra, "Localizable", language);
        EXPECT_TRUE(button && button->contains("Account Mobility Preferences..."));
    }
}

TEST_F(ShippedTexts, ThePersonsLanguagesChoose)
{
    const struct {
        const char *languages, *locale, *expected;
    } cases[] = {
        {"", "C", "Cancel"},
        {"", "de_AT.UTF-8", "Abbrechen"},
        {"ar:fr", "ar_EG.UTF-8", "Annuler"},
        {"", "ja_JP.UTF-8", "キャンセル"},
        {"sv", "sv_SE.UTF-8", "Cancel"},
    };
    for (const auto& c : cases) {
        const fakes::TempEnvironment environment{{"LANGUAGE", c.languages}, {"LC_ALL", c.locale}};
        EXPECT_EQ(custodia->localizedString("PAVO_CANCEL_BUTTON", "localizable"), c.expected) << c.locale;
    }
}

} // namespace
