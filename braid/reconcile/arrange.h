#pragma once

#include "walk.h"

namespace braid
{

/// Makes of what the walk found what is carried out: without the jobs that must end, with a deletion and a creation
/// of the same file joined to a move, and without deletions that look like an accident. Adds the conflict for those.
void arrange(const WalkContext& context, Plan& plan, bool allowsMassDeletion);

} // namespace braid
