#include "pass_plan.h"

#include <array>
#include <optional>

#include "braid/protocol.h"
#include "platform/sync_engine.h"

namespace braid::agent
{

namespace
{

using roamer::ComparisonForm;
using roamer::Dictionary;
using roamer::PropertyList;

constexpr std::array kComparisons = std::to_array<Comparison>({
    Comparison::PathEquals,
    Comparison::PathBeginsWith,
    Comparison::NameBeginsWith,
    Comparison::NameEndsWith,
    Comparison::NameContains,
    Comparison::PathContains,
    Comparison::NameMatches,
    Comparison::PathMatches,
    Comparison::NameLike,
    Comparison::PathLike,
});
static_assert(kComparisons.size() == roamer::kComparisonFormats.size());
static_assert(kComparisons.at(static_cast<std::size_t>(ComparisonForm::NameMatches)) == Comparison::NameMatches);
static_assert(kComparisons.at(static_cast<std::size_t>(ComparisonForm::PathLike)) == Comparison::PathLike);

struct PeerOption {
    const char* key;
    std::optional<Peer> JobOptions::*field;
};
constexpr std::array kPeerOptions = std::to_array<PeerOption>({
    {platform::kSyncOptionResolveConflictInFavorOfPeerKey, &JobOptions::resolveConflictsInFavorOf},
    {platform::kSyncOptionPeerSyncPassReadOnlyKey, &JobOptions::readOnlyPeer},
    {platform::kSyncOptionPeerAbortSyncPassOnWriteToReadOnlyKey, &JobOptions::abortOnWriteToReadOnlyPeer},
});

struct FlagOption {
    const char* key;
    bool JobOptions::*field;
};
constexpr std::array kFlagOptions = std::to_array<FlagOption>({
    {platform::kSyncOptionSuppressErrorDialogsKey, &JobOptions::suppressErrorDialogs},
    {platform::kSyncOptionAbortSyncPassOnConflictKey, &JobOptions::abortOnConflict},
    {platform::kSyncOptionSuppressConflictDialogsKey, &JobOptions::suppressConflictDialogs},
});

std::optional<Peer> peerFrom(const PropertyList& reference)
{
    const auto* text = reference.as<std::string>();
    if (text == nullptr) return std::nullopt;
    if (*text == protocol::kLocalPeerRef) return Peer::Local;
    if (*text == protocol::kRemotePeerRef) return Peer::Network;
    return std::nullopt;
}

/// False for an option that is unknown or has an impossible value.
bool applyOption(JobOptions& options, const std::string& key, const PropertyList& value)
{
    if (key == platform::kSyncOptionExclusionInclusionSetIndexKey) return true;
    for (const auto& option : kPeerOptions) {
        if (key != option.key) continue;
        options.*option.field = peerFrom(value);
        return (options.*option.field).has_value();
    }
    for (const auto& option : kFlagOptions) {
        if (key != option.key) continue;
        const auto flag = value.boolReading();
        options.*option.field = flag.value_or(false);
        return flag.has_value();
    }
    return false;
}

Refusal refusal(std::string reason)
{
    return Refusal{kPassRefused, std::move(reason)};
}

/// Finds each job's options by the index that they carry.
std::optional<Refusal> applyOptions(std::vector<Job>& jobs, const std::vector<Dictionary>& dictionaries)
{
    std::set<std::int64_t> seen;
    for (const auto& dictionary : dictionaries) {
        const auto entry = dictionary.find(platform::kSyncOptionExclusionInclusionSetIndexKey);
        const auto index = entry == dictionary.end() ? std::nullopt : entry->second.integerReading();
        if (!index || *index < 0 || *index >= static_cast<std::int64_t>(jobs.size()) || !seen.insert(*index).second) {
            return refusal("the sync options do not say which job they belong to");
        }
        for (const auto& [key, value] : dictionary) {
            if (!applyOption(jobs[static_cast<std::size_t>(*index)].options, key, value)) {
                return refusal("the sync option " + key + " cannot be " + value.description());
            }
        }
    }
    if (seen.size() != jobs.size()) return refusal("a job of the sync set has no options");
    return std::nullopt;
}

std::optional<Refusal> addRules(Job& job, const roamer::MatchRules& rules)
{
    for (const auto& rule : rules) {
        auto made = MatchRule::make(kComparisons.at(static_cast<std::size_t>(rule.form)), rule.value);
        if (const auto* reason = std::get_if<std::string>(&made)) {
            return refusal("the exclusion rule " + std::string(roamer::comparisonFormat(rule.form)) + " \"" +
                           rule.value + "\" cannot be used: " + *reason);
        }
        job.exclusions.push_back(std::get<MatchRule>(std::move(made)));
    }
    return std::nullopt;
}

} // namespace

std::variant<std::vector<Job>, Refusal> jobsOf(const SyncSet& set)
{
    if (set.local != set.remote) return refusal("the two homes of the sync set were given different lists");
    if (set.local.inclusions.size() != set.local.exclusions.size()) {
        return refusal("the sync set has inclusion lists and exclusion lists for a different number of jobs");
    }
    std::vector<Job> jobs;
    for (std::size_t i = 0; i < set.local.inclusions.size(); ++i) {
        auto& job = jobs.emplace_back();
        job.inclusions = set.local.inclusions[i];
        if (auto refused = addRules(job, set.local.exclusions[i])) return *std::move(refused);
    }
    if (auto refused = applyOptions(jobs, set.defaultSyncOptions)) return *std::move(refused);
    return jobs;
}

} // namespace braid::agent
