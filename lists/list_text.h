#pragma once

#include <string>

#include "values/inclusion_set.h"
#include "values/match_rule.h"

namespace roamer
{

/// The paths in order, for a log line: {(Documents, Music)}; {()} for the whole home, (null) for nothing.
std::string description(const InclusionSet& set);

/// The rules in order, as predicates with their values: {(name LIKE[c] "*.tmp")}.
std::string description(const MatchRules& rules);

} // namespace roamer
