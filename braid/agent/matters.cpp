#include "matters.h"

#include <algorithm>
#include <set>
#include <string_view>

#include "braid/jobs/coverage.h"
#include "braid/protocol.h"

namespace braid::agent
{

namespace
{

using roamer::Array;
using roamer::Dictionary;

Dictionary describe(const Version& version)
{
    return {{protocol::kVersionKind, static_cast<int>(version.kind)},
            {protocol::kVersionSize, version.size},
            {protocol::kVersionTime, version.mtime}};
}

/// What is fresh takes the place of what was known of its path.
template <typename Item>
void merge(std::vector<Item>& known, const std::vector<Item>& fresh)
{
    std::set<std::string_view> paths;
    for (const auto& item : fresh)
        paths.insert(item.path);
    std::erase_if(known, [&](const Item& item) { return paths.contains(item.path); });
    known.insert(known.end(), fresh.begin(), fresh.end());
}

} // namespace

roamer::Data bytesOf(const std::string& path)
{
    const auto* first = reinterpret_cast<const std::byte*>(path.data());
    return roamer::Data(first, first + path.size());
}

std::string pathOf(const roamer::Data& bytes)
{
    return {reinterpret_cast<const char*>(bytes.data()), bytes.size()};
}

void Matters::add(const OpenMatters& fresh)
{
    merge(mKnown.conflicts, fresh.conflicts);
    merge(mKnown.errors, fresh.errors);
}

std::uint64_t Matters::conflicts() const
{
    return static_cast<std::uint64_t>(
        std::ranges::count_if(mKnown.conflicts, [&](const auto& item) { return !mSetAside.contains(item); }));
}

std::uint64_t Matters::errors() const
{
    return static_cast<std::uint64_t>(
        std::ranges::count_if(mKnown.errors, [&](const auto& item) { return !mSetAside.contains(item); }));
}

bool Matters::needsDialog(const OpenMatters& met, const std::vector<Job>& jobs) const
{
    const Coverage coverage(jobs);
    const auto isWanted = [&](const auto& matter, bool JobOptions::*suppressed) {
        if (mSetAside.contains(matter)) return false;
        const auto job = coverage.jobOfPath(matter.path);
        // What belongs to the home as a whole belongs to whoever asks at all.
        if (!job) return !std::ranges::all_of(jobs, [&](const Job& item) { return item.options.*suppressed; });
        return !(jobs[*job].options.*suppressed);
    };
    return std::ranges::any_of(met.conflicts,
                               [&](const auto& c) { return isWanted(c, &JobOptions::suppressConflictDialogs); }) ||
           std::ranges::any_of(met.errors,
                               [&](const auto& e) { return isWanted(e, &JobOptions::suppressErrorDialogs); });
}

std::optional<std::string> Matters::forget()
{
    mKnown = {};
    return mSetAside.clear();
}

Dictionary Matters::describe(const Conflict& conflict) const
{
    auto local = agent::describe(conflict.local);
    auto network = agent::describe(conflict.network);
    local[protocol::kVersionComputer] = thisComputer();
    if (const auto name = whoBrought(conflict.network.mtime, mComputers)) network[protocol::kVersionComputer] = *name;
    return {{protocol::kPath, bytesOf(conflict.path)},
            {protocol::kKind, conflict.kind},
            {protocol::kLocalVersion, std::move(local)},
            {protocol::kNetworkVersion, std::move(network)},
            {protocol::kIsSetAside, mSetAside.contains(conflict)}};
}

Dictionary Matters::describe() const
{
    Array conflicts;
    for (const auto& conflict : mKnown.conflicts)
        conflicts.emplace_back(describe(conflict));
    Array errors;
    for (const auto& error : mKnown.errors) {
        errors.emplace_back(Dictionary{{protocol::kPath, bytesOf(error.path)},
                                       {protocol::kMessage, error.message},
                                       {protocol::kIsSetAside, mSetAside.contains(error)}});
    }
    return {{protocol::kConflicts, std::move(conflicts)},
            {protocol::kErrors, std::move(errors)},
            {protocol::kComputer, thisComputer()}};
}

} // namespace braid::agent
