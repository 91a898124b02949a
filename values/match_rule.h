#pragma once

#include <array>
#include <compare>
#include <cstddef>
#include <set>
#include <string>
#include <string_view>

namespace roamer
{

/// The ten comparisons that an exclusion rule can make. "path" is an item's path below the home, "name" its last
/// component; [c] ignores case.
enum class ComparisonForm {
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

/// The predicate texts, in the order of ComparisonForm: what logs show and what the engine is given.
inline constexpr std::array<std::string_view, 10> kComparisonFormats = {
    "path == %@",          "path BEGINSWITH %@", "name BEGINSWITH[c] %@", "name ENDSWITH[c] %@", "name CONTAINS[c] %@",
    "path CONTAINS[c] %@", "name MATCHES %@",    "path MATCHES %@",       "name LIKE[c] %@",     "path LIKE[c] %@",
};

constexpr std::string_view comparisonFormat(ComparisonForm form)
{
    return kComparisonFormats.at(static_cast<std::size_t>(form));
}

/// A predicate over one item of a home. Two rules with the same form and value are the same rule.
struct MatchRule {
    ComparisonForm form = ComparisonForm::PathEquals;
    std::string value;

    friend auto operator<=>(const MatchRule&, const MatchRule&) = default;
};

using MatchRules = std::set<MatchRule>;

} // namespace roamer
