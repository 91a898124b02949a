#include "person_task.h"

#include <array>
#include <map>

#include "braid/jobs/coverage.h"
#include "braid/protocol.h"
#include "pass_plan.h"

namespace braid::agent
{

namespace
{

using Verb = PersonTask::Verb;

struct Word {
    const char* word;
    Verb verb;
};
constexpr std::array kWords = std::to_array<Word>({
    {protocol::kKeepLocal, Verb::KeepLocal},
    {protocol::kKeepNetwork, Verb::KeepNetwork},
    {protocol::kKeepBoth, Verb::KeepBoth},
    {protocol::kKeepDelete, Verb::Delete},
    {protocol::kKeepRestore, Verb::Restore},
});

Keep keepOf(Verb verb)
{
    if (verb == Verb::KeepNetwork) return Keep::Network;
    return verb == Verb::KeepBoth ? Keep::Both : Keep::Local;
}

/// The paths by the job that they belong to; the last one after all jobs for those of none.
std::map<std::size_t, std::vector<std::string>> byJob(const std::vector<std::string>& paths,
                                                      const std::vector<Job>& jobs)
{
    const Coverage coverage(jobs);
    std::map<std::size_t, std::vector<std::string>> result;
    for (const auto& path : paths)
        result[coverage.jobOfPath(path).value_or(jobs.size())].push_back(path);
    return result;
}

void addDecisions(PassRequest& request, const PersonTask& task)
{
    for (auto& [job, paths] : byJob(task.paths, request.jobs)) {
        auto& decision = request.decisions.emplace_back();
        decision.paths = std::move(paths);
        decision.keep = keepOf(task.verb);
        if (job < request.jobs.size()) decision.exclusions = request.jobs[job].exclusions;
    }
}

/// Each job for its paths only. A path that belongs to no job is about the home as a whole: then it is a whole pass.
void narrow(PassRequest& request, const PersonTask& task)
{
    auto paths = byJob(task.paths, request.jobs);
    if (paths.contains(request.jobs.size()) || paths.empty()) return;
    std::vector<Job> jobs;
    for (auto& [index, own] : paths) {
        auto& job = jobs.emplace_back(request.jobs[index]);
        job.inclusions = std::set<std::string>(own.begin(), own.end());
    }
    request.jobs = std::move(jobs);
    request.occasion = Occasion::Aside;
}

} // namespace

std::optional<Verb> verbOf(const std::string& keep)
{
    for (const auto& [word, verb] : kWords) {
        if (keep == word) return verb;
    }
    return std::nullopt;
}

std::variant<PassRequest, Refusal> requestFor(const SyncSet& set)
{
    auto jobs = jobsOf(set);
    if (auto* refused = std::get_if<Refusal>(&jobs)) return std::move(*refused);
    PassRequest request;
    request.networkHome = {set.remoteHomePath, set.remoteHomeXMLSpec, set.mountSuffixPath};
    request.jobs = std::get<std::vector<Job>>(std::move(jobs));
    return request;
}

std::variant<PassRequest, Refusal> requestFor(const PersonTask& task, const SyncSet& set)
{
    auto wanted = requestFor(set);
    auto* request = std::get_if<PassRequest>(&wanted);
    if (request == nullptr) return wanted;
    switch (task.verb) {
    case Verb::Delete:
        request->allowMassDeletion = true;
        break;
    case Verb::Restore:
        request->forgetsFirst = true;
        break;
    case Verb::Retry:
        narrow(*request, task);
        break;
    default:
        addDecisions(*request, task);
    }
    return wanted;
}

} // namespace braid::agent
