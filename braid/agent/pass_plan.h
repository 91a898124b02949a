#pragma once

#include <string>
#include <string_view>
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

/// What of the home the jobs sync, for those who watch it.
class Coverage
{
public:
    explicit Coverage(std::vector<Job> jobs) : mJobs(std::move(jobs)) {}

    /// Whether some job syncs the item. `path` is home-relative; its parent folders are taken to be covered.
    bool covers(std::string_view path) const;

    /// Whether something at the folder or below it may be synced.
    bool leadsToCovered(std::string_view folder) const;

private:
    std::vector<Job> mJobs;
};

} // namespace braid::agent
