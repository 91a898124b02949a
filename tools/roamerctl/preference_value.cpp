#include "preference_value.h"

#include <algorithm>
#include <array>
#include <cctype>
#include <charconv>
#include <cstdlib>

#include "lists/exclusion_entry.h"
#include "platform/linux/xml_date.h"
#include "util/typed_reads.h"

namespace roamer::ctl
{

namespace
{

using Parsed = std::variant<PropertyList, std::string>;

constexpr std::array<std::string_view, 4> kYes = {"true", "yes", "on", "1"};
constexpr std::array<std::string_view, 4> kNo = {"false", "no", "off", "0"};

/// The word for a rule that names one path, which the rules themselves write as any word that they do not know.
constexpr std::string_view kPathWord = "path";

std::string listed(std::span<const std::string_view> words)
{
    std::string text;
    for (const auto& word : words)
        text.append(text.empty() ? "" : ", ").append(word);
    return text;
}

Parsed booleanFrom(const std::string& word)
{
    if (std::ranges::find(kYes, word) != kYes.end()) return PropertyList(true);
    if (std::ranges::find(kNo, word) != kNo.end()) return PropertyList(false);
    return "takes true or false, not \"" + word + "\"";
}

Parsed numberFrom(const std::string& word)
{
    const auto* const end = word.data() + word.size();
    std::int64_t integer = 0;
    if (const auto read = std::from_chars(word.data(), end, integer); read.ec == std::errc{} && read.ptr == end)
        return PropertyList(integer);
    double real = 0;
    if (const auto read = std::from_chars(word.data(), end, real); read.ec == std::errc{} && read.ptr == end)
        return PropertyList(real);
    return "takes a number of seconds, not \"" + word + "\"";
}

Parsed foldersFrom(const std::vector<std::string>& words)
{
    Array folders;
    for (const auto& word : words) {
        const bool leavesHome = word.starts_with("/") || word == ".." || word.starts_with("../") ||
                                word.find("/../") != std::string::npos || word.ends_with("/..");
        if (word.empty() || leavesHome) return "takes paths in the home, such as ~/Documents, not \"" + word + "\"";
        auto path = word;
        while (path.size() > 1 && path.ends_with('/'))
            path.pop_back();
        folders.emplace_back(Dictionary{{"path", path.starts_with("~") ? path : "~/" + path}});
    }
    return PropertyList(folders);
}

Parsed rulesFrom(const std::vector<std::string>& words)
{
    Array rules;
    for (const auto& word : words) {
        const auto colon = word.find(':');
        const auto comparison = word.substr(0, colon);
        const auto known = comparisonWords();
        const bool isKnown = comparison == kPathWord || std::ranges::find(known, comparison) != known.end();
        if (colon == std::string::npos || colon + 1 == word.size() || !isKnown)
            return "takes rules COMPARISON:VALUE with one of " + listed(known) + ", path; not \"" + word + "\"";
        rules.emplace_back(Dictionary{{kComparisonKey, comparison}, {kValueKey, word.substr(colon + 1)}});
    }
    return PropertyList(rules);
}

std::string wordOfElement(const PropertyList& element)
{
    if (const auto* entry = element.as<Dictionary>()) {
        if (const auto* path = objectForKey<std::string>(*entry, "path")) return *path;
        const auto* comparison = objectForKey<std::string>(*entry, kComparisonKey);
        const auto* value = objectForKey<std::string>(*entry, kValueKey);
        if (comparison != nullptr && value != nullptr) return *comparison + ":" + *value;
    }
    return element.description();
}

} // namespace

std::vector<std::string> foldersInHome(std::vector<std::string> words, const std::string& home)
{
    const char* ownHome = std::getenv("HOME");
    for (auto& word : words) {
        for (const std::string& top : {home, std::string(ownHome != nullptr ? ownHome : "")}) {
            if (top.size() > 1 && word.starts_with(top + "/")) word = "~" + word.substr(top.size());
        }
    }
    return words;
}

std::variant<PropertyList, std::string> preferenceValueFromWords(const PreferenceKey& key,
                                                                 const std::vector<std::string>& words)
{
    if (key.type == PreferenceType::Folders) return foldersFrom(words);
    if (key.type == PreferenceType::Rules) return rulesFrom(words);
    if (words.size() != 1) return "takes one " + std::string(preferenceTypeName(key.type));
    const auto& word = words.front();
    switch (key.type) {
    case PreferenceType::Boolean:
        return booleanFrom(word);
    case PreferenceType::Seconds:
        return numberFrom(word);
    case PreferenceType::Word:
        if (std::ranges::find(key.words, word) != key.words.end()) return PropertyList(word);
        return "takes one of " + listed(key.words) + "; not \"" + word + "\"";
    default:
        return std::string("is written by Roamer itself");
    }
}

std::string wordsOfPreferenceValue(const PropertyList& value)
{
    if (const auto* flag = value.as<bool>()) return *flag ? "true" : "false";
    if (const auto* text = value.as<std::string>()) return *text;
    if (const auto* date = value.as<Date>()) return platform::xmlTextFromDate(*date);
    if (const auto* list = value.as<Array>()) {
        std::string text;
        for (const auto& element : *list) {
            const auto word = wordOfElement(element);
            const bool hasBlank = std::ranges::any_of(word, [](unsigned char c) { return std::isspace(c) != 0; });
            text += text.empty() ? "" : " ";
            text += hasBlank ? "'" + word + "'" : word;
        }
        return text.empty() ? "(empty list)" : text;
    }
    return value.description();
}

} // namespace roamer::ctl
