#pragma once

#include <optional>
#include <set>
#include <string>
#include <string_view>
#include <vector>

#include "braid/engine.h"

namespace braid
{

/// Which job an item belongs to: the first that includes it and whose rules exclude neither it nor a folder above it.
class Coverage
{
public:
    /// Borrows `jobs`, which must outlive it.
    explicit Coverage(const std::vector<Job>& jobs);

    /// What each job has to do with one folder. Opaque; carried down from the top.
    using State = std::string;

    State top() const;
    State below(const State& folder, std::string_view path) const;

    /// The job that an item with this state belongs to.
    static std::optional<std::size_t> jobOf(const State& state);
    /// Some job has items here or further down.
    static bool leadsSomewhere(const State& state);

    /// The job of the item at `path` in a folder of the given state; the same as jobOf(below()), only quicker.
    std::optional<std::size_t> jobOfItem(const State& folder, std::string_view path) const;
    /// From the top.
    std::optional<std::size_t> jobOfPath(std::string_view path) const;

    const Job& job(std::size_t index) const { return mJobs[index]; }
    std::size_t count() const { return mJobs.size(); }

private:
    char stateIn(std::size_t job, char folder, std::string_view path) const;

    const std::vector<Job>& mJobs;
    std::vector<std::set<std::string, std::less<>>> mInclusions;
};

/// A path as jobs and people write it, in the engine's form: no slashes at the ends, none doubled, no "." parts.
std::string normalPath(std::string_view path);

} // namespace braid
