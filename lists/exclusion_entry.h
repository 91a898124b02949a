#pragma once

#include <optional>
#include <string_view>
#include <vector>

#include "values/match_rule.h"
#include "values/property_list.h"

namespace roamer
{

inline constexpr const char* kComparisonKey = "comparison";
inline constexpr const char* kValueKey = "value";

/// The comparisons that have a word. An entry with any other word means the item at exactly that path.
std::vector<std::string_view> comparisonWords();

/// The rule of a {comparison = "..."; value = "..."} dictionary. A leading "~/" or "~" is taken off the value. Nothing
/// for elements of another shape and for values that are empty then. Whether the rule can be evaluated is not looked
/// at.
std::optional<MatchRule> ruleFromExclusionEntry(const PropertyList& element);

} // namespace roamer
