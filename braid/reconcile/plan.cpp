#include "plan.h"

#include <algorithm>

#include "walk.h"

namespace braid
{

std::size_t Plan::countRenamed() const
{
    return static_cast<std::size_t>(
        std::ranges::count_if(respellings, [](const Respelling& each) { return each.target.has_value(); }));
}

void Plan::withdraw(std::string_view path)
{
    const auto concerns = [path](std::string_view other) { return other == path || liesBelow(other, path); };
    for (ActionList* list : lists()) {
        list->each([&](ActionList::Index index, const Action& action) {
            if (concerns(action.path) || concerns(action.from)) list->drop(index);
        });
    }
    std::erase_if(forgets, concerns);
    std::erase_if(finishes, [&](const FolderFinish& finish) { return concerns(finish.path); });
    std::erase_if(respellings, [&](const Respelling& each) { return liesBelow(each.path, path); });
}

void addError(Plan& plan, const std::string& path, Peer peer, const Problem& problem)
{
    plan.errors.push_back({path.empty() ? "." : path, "In " + std::string{homeWords(peer)} + ": " + problem.words()});
}

void addCollision(const WalkContext& context, Plan& plan, const std::string& path, std::size_t job, Peer side,
                  const PerPeer<Stat>& stats)
{
    const JobOptions& options = context.coverage.job(job).options;
    const Decision write = decideWrite(otherPeer(side), options);
    if (write.jobEnd != JobEnd::None) endJob(plan, job, write.jobEnd);
    if (write.step == Step::KeptOut) return;
    if (options.abortOnConflict) endJob(plan, job, JobEnd::Conflict);
    plan.conflicts.push_back({{path, std::string{conflicts::kNameCollision}}, stats});
}

void endJob(Plan& plan, std::size_t job, JobEnd end)
{
    JobEnd& kept = plan.jobEnds[job];
    if (kept != JobEnd::WriteToReadOnlyPeer) kept = end;
}

} // namespace braid
