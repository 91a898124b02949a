#pragma once

#include "walk.h"

namespace braid
{

/// Makes of what the walk found what is carried out: without the jobs that must end, with a deletion and a creation
/// of the same file joined to a move, and with the names of one file joined; and of nothing at all, but for a conflict of its own kind, where the deletions
/// look like an accident.
void arrange(const WalkContext& context, Plan& plan, bool allowsMassDeletion);

} // namespace braid
