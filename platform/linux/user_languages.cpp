#include "user_languages.h"

#include <algorithm>
#include <array>
#include <cstdlib>

namespace platform
{

namespace
{

struct LanguageName {
    std::string_view code;
    std::string_view name; ///< Older bundles name their folders so.
};

constexpr auto kLanguageNames = std::to_array<LanguageName>({
    {"en", "English"},
    {"fr", "French"},
    {"de", "German"},
    {"ja", "Japanese"},
    {"es", "Spanish"},
    {"it", "Italian"},
    {"nl", "Dutch"},
});

std::string_view variable(const char* name)
{
    const char* value = std::getenv(name);
    return value != nullptr ? value : std::string_view{};
}

std::string_view messageLocale()
{
    for (const char* name : {"LC_ALL", "LC_MESSAGES", "LANG"})
        if (const auto value = variable(name); !value.empty()) return value;
    return {};
}

/// "de_AT" of "de_AT.UTF-8@euro"; "" for the C locale.
std::string_view languageOf(std::string_view locale)
{
    const auto language = locale.substr(0, locale.find_first_of(".@"));
    return language == "C" || language == "POSIX" ? std::string_view{} : language;
}

void addLanguage(std::vector<std::string>& languages, std::string_view locale)
{
    const auto language = languageOf(locale);
    for (const auto form : {language, language.substr(0, language.find_first_of("_-"))}) {
        if (!form.empty() && std::find(languages.begin(), languages.end(), form) == languages.end()) {
            languages.emplace_back(form);
        }
    }
}

bool serves(std::string localization, std::string_view language)
{
    std::replace(localization.begin(), localization.end(), '-', '_');
    std::string wanted(language);
    std::replace(wanted.begin(), wanted.end(), '-', '_');
    if (localization == wanted) return true;
    return std::any_of(kLanguageNames.begin(), kLanguageNames.end(),
                       [&](const LanguageName& entry) { return entry.code == wanted && entry.name == localization; });
}

} // namespace

std::vector<std::string> userLanguages()
{
    std::vector<std::string> languages;
    const auto locale = languageOf(messageLocale());
    if (locale.empty()) return languages; // without a locale LANGUAGE does not count either
    for (auto list = variable("LANGUAGE"); !list.empty();) {
        const auto colon = list.find(':');
        addLanguage(languages, list.substr(0, colon));
        list = colon == std::string_view::npos ? std::string_view{} : list.substr(colon + 1);
    }
    addLanguage(languages, locale);
    return languages;
}

std::vector<std::string> matchingLocalizations(const std::vector<std::string>& available,
                                               const std::vector<std::string>& languages)
{
    std::vector<std::string> result;
    const auto addServing = [&](std::string_view language) {
        for (const auto& localization : available) {
            const bool isKnown = std::find(result.begin(), result.end(), localization) != result.end();
            if (!isKnown && serves(localization, language)) result.push_back(localization);
        }
    };
    for (const auto& language : languages)
        addServing(language);
    addServing("en");
    if (result.empty() && !available.empty()) result.push_back(available.front());
    return result;
}

} // namespace platform
