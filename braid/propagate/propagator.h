#pragma once

#include "workbench.h"

namespace braid
{

/// Carries out the plan of the bench. Errors of single items go to the plan's list and the others go on; the answer is
/// a problem that ends the pass, or nothing. After a stop request what is in place is still made known to the archive.
std::optional<Problem> propagate(Workbench& bench);

} // namespace braid
