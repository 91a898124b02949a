#pragma once

#include <optional>
#include <set>
#include <string>

#include "values/property_list.h"

namespace roamer
{

/// What of a home a job covers: nothing at all (no value), the whole home (an empty set), or the listed home-relative
/// paths with everything below them.
using InclusionSet = std::optional<std::set<std::string>>;

/// Reads a list of {path = "..."} dictionaries. A leading "~/" or "~" is taken off each path; an entry that is only
/// that makes the whole result the whole home. Elements of another shape are skipped. No value when none is left.
InclusionSet includeListFromPavoIncludeList(const std::optional<Array>& list);

} // namespace roamer
