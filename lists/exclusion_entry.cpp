#include "exclusion_entry.h"

#include <algorithm>
#include <array>
#include <string>
#include <string_view>

#include "util/typed_reads.h"

namespace roamer
{

namespace
{

struct ComparisonWord {
    std::string_view word;
    ComparisonForm form;
};

constexpr std::array kComparisonWords = std::to_array<ComparisonWord>({
    {"startsWith", ComparisonForm::NameBeginsWith},
    {"endsWith", ComparisonForm::NameEndsWith},
    {"contains", ComparisonForm::NameContains},
    {"partialPath", ComparisonForm::PathContains},
    {"regex", ComparisonForm::NameMatches},
    {"regexPath", ComparisonForm::PathMatches},
    {"is", ComparisonForm::NameLike},
    {"fullPath", ComparisonForm::PathLike},
});

/// Accounts of these kinds keep their mail in folders that begin so, one level down in the mail folder.
constexpr std::array<std::string_view, 3> kMailAccountPrefixes = {"IMAP-", "Zil-", "Exchange-"};

/// Every other word asks for exactly this path.
ComparisonForm formOfWord(std::string_view word)
{
    const auto* const found = std::ranges::find(kComparisonWords, word, &ComparisonWord::word);
    return found != kComparisonWords.end() ? found->form : ComparisonForm::PathEquals;
}

std::string withoutTilde(const std::string& value)
{
    if (value.starts_with("~/")) return value.substr(2);
    if (value.starts_with("~")) return value.substr(1);
    return value;
}

bool isMailAccountPrefix(std::string_view value)
{
    return std::ranges::find(kMailAccountPrefixes, value) != kMailAccountPrefixes.end();
}

} // namespace

std::vector<std::string_view> comparisonWords()
{
    std::vector<std::string_view> words;
    for (const auto& known : kComparisonWords)
        words.push_back(known.word);
    return words;
}

std::optional<MatchRule> ruleFromExclusionEntry(const PropertyList& element)
{
    const auto* entry = element.as<Dictionary>();
    if (entry == nullptr) return std::nullopt;
    const auto* word = objectForKey<std::string>(*entry, kComparisonKey);
    const auto* value = objectForKey<std::string>(*entry, kValueKey);
    if (word == nullptr || value == nullptr) return std::nullopt;

    const std::string text = withoutTilde(*value);
    if (text.empty()) return std::nullopt;
    const auto form = formOfWord(*word);
    if (form == ComparisonForm::NameBeginsWith && isMailAccountPrefix(text)) {
        return MatchRule{ComparisonForm::PathLike, "Library/Mail/" + text + "*"};
    }
    return MatchRule{form, text};
}

} // namespace roamer
