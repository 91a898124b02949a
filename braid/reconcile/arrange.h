#pragma once

#include "walk.h"

namespace braid
{

/// Turns what the walk found into what is carried out: without the jobs that must end, with a deletion and a creation
/// of the same file joined to a move, and without deletions that look like an accident. Adds the conflict for those.
OrderedPlan arrange(const WalkContext& context, Plan& plan, bool allowsMassDeletion);

/// Parents before what they hold, and what lies in one folder together.
bool pathLess(std::string_view one, std::string_view other);

} // namespace braid
