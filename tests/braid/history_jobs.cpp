#include <random>

#include "history_laws.h"

namespace braid::sim
{

/// Jobs of all kinds, by a number; 0 is the whole home without options.
std::vector<Job> jobsFor(std::uint64_t number)
{
    std::vector<Job> jobs(1);
    if (number == 0) return jobs;
    std::mt19937_64 random{number};
    const auto below = [&](std::size_t bound) { return random() % bound; };
    const auto peer = [&] { return below(2) == 0 ? Peer::Local : Peer::Network; };
    if (below(3) == 0) {
        jobs.resize(2);
        jobs[0].inclusions = {below(2) == 0 ? "a" : "b/a", "a-b"};
    } else if (below(4) == 0) {
        jobs[0].inclusions = {"a", "b/b", "c\xff"};
    }
    for (Job& job : jobs) {
        if (below(3) == 0) {
            const auto comparison = below(2) == 0 ? Comparison::NameEndsWith : Comparison::PathEquals;
            const char* value = comparison == Comparison::PathEquals ? "b/a" : ".X";
            job.exclusions.push_back(std::get<MatchRule>(MatchRule::make(comparison, value)));
        }
        if (below(3) == 0) job.options.resolveConflictsInFavorOf = peer();
        if (below(4) == 0) job.options.readOnlyPeer = peer();
        if (below(8) == 0) job.options.abortOnWriteToReadOnlyPeer = peer();
        job.options.abortOnConflict = below(8) == 0;
    }
    return jobs;
}

std::string words(const std::vector<Job>& jobs)
{
    std::string text;
    const auto name = [](const std::optional<Peer>& peer) { return peer == Peer::Local ? " local" : " network"; };
    for (const Job& job : jobs) {
        text += "\njob:";
        for (const std::string& path : job.inclusions)
            text += " " + path;
        for (const MatchRule& rule : job.exclusions)
            text += ", without " + rule.value();
        if (job.options.resolveConflictsInFavorOf)
            text += ", favors" + std::string{name(job.options.resolveConflictsInFavorOf)};
        if (job.options.readOnlyPeer) text += ", reads only" + std::string{name(job.options.readOnlyPeer)};
        if (job.options.abortOnWriteToReadOnlyPeer)
            text += ", aborts on write to" + std::string{name(job.options.abortOnWriteToReadOnlyPeer)};
        if (job.options.abortOnConflict) text += ", aborts on conflict";
    }
    return text;
}

} // namespace braid::sim
