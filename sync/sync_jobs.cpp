#include "sync_jobs.h"

#include <utility>

namespace roamer
{

void SyncJobs::append(const SyncJob& job, Dictionary jobOptions)
{
    if (!job.inclusion) return;
    inclusionSets.push_back(*job.inclusion);
    exclusionSets.push_back(job.exclusion);
    options.push_back(std::move(jobOptions));
}

std::string description(const std::vector<std::set<std::string>>& sets)
{
    Array all;
    for (const auto& set : sets)
        all.push_back(Array(set.begin(), set.end()));
    return PropertyList(all).description();
}

std::string description(const std::vector<MatchRules>& sets)
{
    Array all;
    for (const auto& rules : sets) {
        Array texts;
        for (const auto& rule : rules) {
            texts.push_back(std::string(comparisonFormat(rule.form)) + " \"" + rule.value + "\"");
        }
        all.push_back(std::move(texts));
    }
    return PropertyList(all).description();
}

std::string description(const std::vector<Dictionary>& dictionaries)
{
    return PropertyList(Array(dictionaries.begin(), dictionaries.end())).description();
}

} // namespace roamer
