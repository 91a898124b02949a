#pragma once

#include <string>
#include <vector>

#include "braid/home/home.h"
#include "braid/jobs/coverage.h"
#include "braid/reconcile/plan.h"

namespace braid
{

/// What carrying out the plan changes in the homes, one entry for an item and home, in the order of the pass.
std::vector<PlannedChange> foretell(const Plan& plan, const Coverage& coverage, const PerPeer<Home*>& homes);

/// Items that are the same in both homes (or gone from both), but not as the archive holds them. What the archive only
/// has no firm figures of, because it was young, is none of them.
std::vector<std::string> unknownToArchive(const Plan& plan, Archive& archive, bool trustsArchive);

} // namespace braid
