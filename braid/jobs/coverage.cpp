#include "coverage.h"

#include <algorithm>

#include "braid/disk/facts.h"

namespace braid
{

namespace
{

constexpr char kAbove = 'a';   // holds included items further down
constexpr char kInside = 'i';  // included with all below
constexpr char kOutside = 'o'; // neither, or excluded by a rule

} // namespace

std::string normalPath(std::string_view path)
{
    std::string normal;
    while (!path.empty()) {
        const auto slash = path.find('/');
        const std::string_view part = path.substr(0, slash);
        if (!part.empty() && part != ".") normal = joinPath(normal, part);
        path.remove_prefix(slash == std::string_view::npos ? path.size() : slash + 1);
    }
    return normal;
}

Coverage::Coverage(const std::vector<Job>& jobs) : mJobs(jobs)
{
    for (const Job& job : jobs) {
        std::set<std::string, std::less<>> inclusions;
        for (const std::string& path : job.inclusions)
            inclusions.insert(normalPath(path));
        // The top itself stands for the whole home.
        if (inclusions.contains("")) inclusions.clear();
        mInclusions.push_back(std::move(inclusions));
    }
}

Coverage::State Coverage::top() const
{
    State state;
    for (const auto& inclusions : mInclusions)
        state.push_back(inclusions.empty() ? kInside : kAbove);
    return state;
}

char Coverage::stateIn(std::size_t job, char folder, std::string_view path) const
{
    if (folder == kOutside) return kOutside;
    char state = kInside;
    if (folder == kAbove) {
        const auto& inclusions = mInclusions[job];
        const auto next = inclusions.lower_bound(path);
        if (next == inclusions.end() || *next != path) {
            // Names such as "a-b" sort between "a" and "a/b", so look for the first below the folder itself.
            const std::string prefix = std::string{path} + "/";
            const auto below = inclusions.lower_bound(prefix);
            if (below == inclusions.end() || !below->starts_with(prefix)) return kOutside;
            state = kAbove;
        }
    }
    const auto& rules = mJobs[job].exclusions;
    const bool excluded = std::ranges::any_of(rules, [&](const MatchRule& rule) { return rule.matches(path); });
    return excluded ? kOutside : state;
}

Coverage::State Coverage::below(const State& folder, std::string_view path) const
{
    State state(folder.size(), kOutside);
    for (std::size_t job = 0; job < folder.size(); ++job)
        state[job] = stateIn(job, folder[job], path);
    return state;
}

std::optional<std::size_t> Coverage::jobOf(const State& state)
{
    const auto at = state.find(kInside);
    if (at == State::npos) return std::nullopt;
    return at;
}

bool Coverage::leadsSomewhere(const State& state)
{
    return state.find_first_not_of(kOutside) != State::npos;
}

std::optional<std::size_t> Coverage::jobOfItem(const State& folder, std::string_view path) const
{
    for (std::size_t job = 0; job < folder.size(); ++job) {
        if (stateIn(job, folder[job], path) == kInside) return job;
    }
    return std::nullopt;
}

std::optional<std::size_t> Coverage::jobOfPath(std::string_view path) const
{
    State state = top();
    for (auto slash = path.find('/'); slash != std::string_view::npos; slash = path.find('/', slash + 1)) {
        state = below(state, path.substr(0, slash));
        if (!leadsSomewhere(state)) return std::nullopt;
    }
    return jobOfItem(state, path);
}

} // namespace braid
