#pragma once

#include <optional>

#include "values/match_rule.h"
#include "values/property_list.h"

namespace roamer
{

/// The rule of a {comparison = "..."; value = "..."} dictionary. A leading "~/" or "~" is taken off the value. Nothing
/// for elements of another shape and for values that are empty then. Whether the rule can be evaluated is not looked
/// at.
std::optional<MatchRule> ruleFromExclusionEntry(const PropertyList& element);

} // namespace roamer
