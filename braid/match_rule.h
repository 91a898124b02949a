#pragma once

#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <variant>

namespace braid
{

enum class Comparison {
    PathEquals,
    PathBeginsWith,
    NameBeginsWith,
    NameEndsWith,
    NameContains,
    PathContains,
    NameMatches,
    PathMatches,
    NameLike,
    PathLike,
};

/// An exclusion rule ready to be asked. Cheap to copy; safe to ask from several threads at once.
///
/// Begins/ends/contains and the wildcard forms ignore case by Unicode case folding; PathEquals and PathBeginsWith do
/// not; Matches is ICU's regular-expression flavour and must match the whole text. Wildcards: "*" any run, "?" one
/// character, over "/" too. Bytes that are not UTF-8 compare as themselves.
class MatchRule
{
public:
    /// The rule, or in words why the value is none (a malformed regular expression).
    static std::variant<MatchRule, std::string> make(Comparison comparison, std::string value);

    /// `path` is home-relative, without a leading or trailing "/".
    bool matches(std::string_view path) const;

    Comparison comparison() const { return mComparison; }
    const std::string& value() const { return mValue; }

private:
    struct Compiled; ///< Folded value and compiled expression, shared by copies.

    MatchRule(Comparison comparison, std::string value, std::shared_ptr<const Compiled> compiled);

    Comparison mComparison;
    std::string mValue;
    std::shared_ptr<const Compiled> mCompiled;
};

} // namespace braid
