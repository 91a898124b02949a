#pragma once

#include <variant>
#include <vector>

#include "braid/engine.h"
#include "network_home.h"
#include "sync_set.h"

namespace braid::agent
{

/// The set's jobs; none for a set that was never given any. A set that is configured in part (the two peers or the
/// lists' lengths differ, options are missing) or that carries something the engine does not understand is refused: a
/// pass without the rules that it was meant to have could write where it must not.
std::variant<std::vector<Job>, Refusal> jobsOf(const SyncSet& set);

} // namespace braid::agent
