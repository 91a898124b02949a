#include "match_rule.h"

#include <unicode/regex.h>
#include <unicode/unistr.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <mutex>
#include <utility>
#include <vector>

#include "braid/disk/facts.h"
#include "braid/text/folding.h"

namespace braid
{

namespace
{

// ICU counts in steps of its own of about a millisecond each; beyond that a pattern is taken not to match.
constexpr std::int32_t kRegexTimeLimit = 50;
constexpr std::int32_t kRegexStackBytes = 1 << 20;
// A pattern that ran into the limit so often would stall a pass item by item; from then on it gets a single step, which
// is plenty for what an honest pattern does with a path.
constexpr unsigned kRegexPatience = 20;
// And after so many more it is not asked any longer: it matches nothing.
constexpr unsigned kRegexGivenUp = 1000;

bool isRegex(Comparison comparison)
{
    return comparison == Comparison::NameMatches || comparison == Comparison::PathMatches;
}

bool isWildcard(Comparison comparison)
{
    return comparison == Comparison::NameLike || comparison == Comparison::PathLike;
}

bool looksAtName(Comparison comparison)
{
    switch (comparison) {
    case Comparison::NameBeginsWith:
    case Comparison::NameEndsWith:
    case Comparison::NameContains:
    case Comparison::NameMatches:
    case Comparison::NameLike:
        return true;
    default:
        return false;
    }
}

/// Remembers only the last "*": enough, since a later star can always take over what an earlier one would need.
bool matchesWildcard(const std::vector<char32_t>& text, const std::vector<char32_t>& pattern)
{
    std::size_t at = 0;
    std::size_t in = 0;
    std::size_t starIn = std::u32string::npos;
    std::size_t starAt = 0;
    while (at < text.size()) {
        if (in < pattern.size() && pattern[in] == U'*') {
            starIn = in++;
            starAt = at;
        } else if (in < pattern.size() && (pattern[in] == U'?' || pattern[in] == text[at])) {
            ++in;
            ++at;
        } else if (starIn != std::u32string::npos) {
            in = starIn + 1;
            at = ++starAt;
        } else {
            return false;
        }
    }
    while (in < pattern.size() && pattern[in] == U'*')
        ++in;
    return in == pattern.size();
}

struct RegexFault {
    UErrorCode code;
    const char* words;
};

constexpr std::array kRegexFaults = std::to_array<RegexFault>({
    {U_REGEX_RULE_SYNTAX, "it repeats nothing, or breaks off"},
    {U_REGEX_BAD_ESCAPE_SEQUENCE, "a backslash stands before something that it cannot stand before"},
    {U_REGEX_MISMATCHED_PAREN, "a bracket ( or ) lacks its partner"},
    {U_REGEX_BAD_INTERVAL, "the numbers in { } make no sense"},
    {U_REGEX_MISSING_CLOSE_BRACKET, "a [ is not closed"},
});

std::string reasonOf(UErrorCode status, const UParseError& where)
{
    const auto* known = std::ranges::find(kRegexFaults, status, &RegexFault::code);
    std::string reason = "not a regular expression: ";
    reason += known != kRegexFaults.end() ? known->words : u_errorName(status);
    if (where.offset >= 0) reason += " at character " + std::to_string(where.offset + 1);
    return reason;
}

} // namespace

struct MatchRule::Compiled {
    std::string folded;
    std::vector<char32_t> wildcard;
    std::unique_ptr<icu::RegexPattern> regex;
    mutable std::atomic<unsigned> timesTooSlow{0};

    bool matchesRegex(std::string_view text) const
    {
        if (timesTooSlow >= kRegexGivenUp) return false;
        thread_local std::u16string units;
        text::toUtf16(text, units);
        const icu::UnicodeString input{false, units.data(), static_cast<std::int32_t>(units.size())};
        std::unique_ptr<icu::RegexMatcher> matcher = takeMatcher();
        if (!matcher) return false;
        UErrorCode status = U_ZERO_ERROR;
        matcher->setTimeLimit(timesTooSlow < kRegexPatience ? kRegexTimeLimit : 1, status);
        matcher->reset(input);
        const bool matched = matcher->matches(status) != 0;
        if (status == U_REGEX_TIME_OUT) ++timesTooSlow;
        static const icu::UnicodeString kNothing;
        matcher->reset(kNothing); // it only borrows its input
        const std::lock_guard lock{mutex};
        idle.push_back(std::move(matcher));
        return U_SUCCESS(status) && matched;
    }

    /// One that is ready for use, made if all others are asked at this moment: a matcher serves one thread at a time.
    std::unique_ptr<icu::RegexMatcher> takeMatcher() const
    {
        {
            const std::lock_guard lock{mutex};
            if (!idle.empty()) {
                auto matcher = std::move(idle.back());
                idle.pop_back();
                return matcher;
            }
        }
        UErrorCode status = U_ZERO_ERROR;
        std::unique_ptr<icu::RegexMatcher> matcher{regex->matcher(status)};
        if (matcher) matcher->setStackLimit(kRegexStackBytes, status);
        return U_SUCCESS(status) ? std::move(matcher) : nullptr;
    }

    mutable std::mutex mutex;
    mutable std::vector<std::unique_ptr<icu::RegexMatcher>> idle; // after `regex`, which they use
};

MatchRule::MatchRule(Comparison comparison, std::string value, std::shared_ptr<const Compiled> compiled)
    : mComparison(comparison), mValue(std::move(value)), mCompiled(std::move(compiled))
{
}

std::variant<MatchRule, std::string> MatchRule::make(Comparison comparison, std::string value)
{
    auto compiled = std::make_shared<Compiled>();
    if (isRegex(comparison)) {
        UErrorCode status = U_ZERO_ERROR;
        UParseError where{};
        where.offset = -1;
        std::u16string units;
        text::toUtf16(value, units);
        const icu::UnicodeString pattern{units.data(), static_cast<std::int32_t>(units.size())};
        compiled->regex.reset(icu::RegexPattern::compile(pattern, 0, where, status));
        if (U_FAILURE(status) || !compiled->regex) return reasonOf(status, where);
    } else if (isWildcard(comparison)) {
        text::foldCharacters(value, compiled->wildcard);
    } else {
        text::foldCase(value, compiled->folded);
    }
    return MatchRule{comparison, std::move(value), std::move(compiled)};
}

bool MatchRule::matches(std::string_view path) const
{
    if (mComparison == Comparison::PathEquals) return path == mValue;
    if (mComparison == Comparison::PathBeginsWith) return path.starts_with(mValue);

    const std::string_view subject = looksAtName(mComparison) ? nameOf(path) : path;
    if (isRegex(mComparison)) return mCompiled->matchesRegex(subject);
    if (isWildcard(mComparison)) {
        thread_local std::vector<char32_t> characters;
        text::foldCharacters(subject, characters);
        return matchesWildcard(characters, mCompiled->wildcard);
    }
    thread_local std::string folded;
    text::foldCase(subject, folded);
    switch (mComparison) {
    case Comparison::NameBeginsWith:
        return folded.starts_with(mCompiled->folded);
    case Comparison::NameEndsWith:
        return folded.ends_with(mCompiled->folded);
    default:
        return folded.find(mCompiled->folded) != std::string::npos;
    }
}

} // namespace braid
