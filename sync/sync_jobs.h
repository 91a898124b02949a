#pragma once

#include <set>
#include <string>
#include <vector>

#include "values/inclusion_set.h"
#include "values/match_rule.h"
#include "values/property_list.h"

namespace roamer
{

/// What one job of a pass covers.
struct SyncJob {
    InclusionSet inclusion; ///< Null: the job is not due.
    MatchRules exclusion;

    bool isDue() const { return inclusion.has_value(); }
};

/// The jobs of a pass as the engine takes them: three lists in the same order.
struct SyncJobs {
    std::vector<std::set<std::string>> inclusionSets;
    std::vector<MatchRules> exclusionSets;
    std::vector<Dictionary> options;

    /// Where the next job goes.
    unsigned nextIndex() const { return static_cast<unsigned>(inclusionSets.size()); }
    /// A job with its options; one that is not due is left out.
    void append(const SyncJob& job, Dictionary jobOptions);
};

// The lists in a log line.
std::string description(const std::vector<std::set<std::string>>& sets);
std::string description(const std::vector<MatchRules>& sets);
std::string description(const std::vector<Dictionary>& dictionaries);

} // namespace roamer
