#pragma once

#include <optional>

#include "values/inclusion_set.h"
#include "values/property_list.h"

namespace roamer
{

/// Reads a list of {path = "..."} dictionaries. A leading "~/" or "~" is taken off each path; an entry that is only
/// that makes the whole result the whole home. Elements of another shape are skipped. No value when none is left.
InclusionSet includeListFromPavoIncludeList(const std::optional<Array>& list);

} // namespace roamer
