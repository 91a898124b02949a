#pragma once

#include <optional>
#include <set>
#include <string>

namespace roamer
{

/// What of a home a job covers: nothing at all (no value), the whole home (an empty set), or the listed home-relative
/// paths with everything below them.
using InclusionSet = std::optional<std::set<std::string>>;

} // namespace roamer
