#pragma once

#include "walk.h"

namespace braid
{

/// Plans for files that have several names in one home (hard links), so that they are one file in the other home, too:
/// of the names that are to be copied there the first is, unless it has one that is in step; the others are linked to
/// it. And where only attributes were to be written to a file with several names, a copy takes the place of the one
/// name, since the others would change with it.
///
/// Names that are in step are left as they are, linked or not. Costs nothing where no such file is to be written.
void joinOtherNames(const WalkContext& context, Plan& plan);

} // namespace braid
