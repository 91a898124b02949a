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

bool liesIn(const PathSet& paths, std::string_view path)
{
    for (; !path.empty(); path = folderOf(path)) {
        if (paths.contains(path)) return true;
    }
    return false;
}

namespace
{

/// It stays where it is, which is none of the paths that the reason is told for.
void addStranded(Plan& plan, const Action& move)
{
    const std::string home{homeWords(move.target)};
    plan.errors.push_back({move.from, "In " + home + ": Could not move it: the folder it goes to was left alone."});
}

} // namespace

void Plan::withdraw(const PathSet& paths)
{
    if (paths.empty()) return;
    for (ActionList* list : lists()) {
        list->each([&](ActionList::Index index, Action action) {
            const bool isMove = action.verb == Action::Verb::Move;
            if (liesIn(paths, action.path)) {
                list->drop(index);
                if (isMove && !liesIn(paths, action.from)) addStranded(*this, action);
            } else if (isMove && liesIn(paths, action.from)) {
                action.verb = Action::Verb::Copy;
                action.from.clear();
                list->replace(index, action);
            }
        });
    }
    const auto concerns = [&](const auto& planned) { return liesIn(paths, planned.path); };
    hasWithdrawnForgets |= std::erase_if(forgets, [&](const std::string& path) { return liesIn(paths, path); }) > 0;
    std::erase_if(finishes, concerns);
    std::erase_if(respellings, concerns);
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
