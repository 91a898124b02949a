#include "sync_set.h"

#include <algorithm>
#include <array>
#include <chrono>

#include "braid/protocol.h"

namespace braid::agent
{

namespace
{

using roamer::Array;
using roamer::Dictionary;
using roamer::PropertyList;

// Small enough that sums and differences of them fit a clock of nanoseconds, which ends in the year 2262.
constexpr double kMaxInterval = 1.0e9;
constexpr double kMaxDate = 8.0e9;

bool setText(std::string& field, const PropertyList& value)
{
    const auto* text = value.as<std::string>();
    if (text == nullptr) return false;
    field = *text;
    return true;
}

bool setOptionalText(std::optional<std::string>& field, const PropertyList& value)
{
    const auto* text = value.as<std::string>();
    if (text == nullptr) return false;
    field = text->empty() ? std::nullopt : std::optional(*text);
    return true;
}

bool setFlag(bool& field, const PropertyList& value)
{
    const auto* flag = value.as<bool>();
    if (flag == nullptr) return false;
    field = *flag;
    return true;
}

bool setInterval(double& field, const PropertyList& value)
{
    const auto number = value.number();
    if (!number || !(*number > 0 && *number < kMaxInterval)) return false;
    field = *number;
    return true;
}

bool setDate(std::optional<roamer::Date>& field, const PropertyList& value)
{
    using Seconds = std::chrono::duration<double>;
    const auto* date = value.as<roamer::Date>();
    const auto number = date != nullptr ? Seconds(date->time_since_epoch()).count() : value.number();
    if (!number || !(*number >= 0 && *number < kMaxDate)) return false;
    field =
        date != nullptr ? *date : roamer::Date(std::chrono::duration_cast<roamer::Date::duration>(Seconds(*number)));
    return true;
}

bool setInclusions(std::vector<std::set<std::string>>& field, const PropertyList& value)
{
    const auto* jobs = value.as<Array>();
    if (jobs == nullptr) return false;
    field.clear();
    for (const auto& job : *jobs) {
        const auto* paths = job.as<Array>();
        if (paths == nullptr) return false;
        auto& inclusions = field.emplace_back();
        for (const auto& path : *paths) {
            const auto* text = path.as<std::string>();
            if (text == nullptr) return false;
            inclusions.insert(*text);
        }
    }
    return true;
}

std::optional<roamer::MatchRule> ruleFrom(const PropertyList& value)
{
    const auto* entries = value.as<Dictionary>();
    if (entries == nullptr || !entries->contains(protocol::kRuleForm) || !entries->contains(protocol::kRuleValue)) {
        return std::nullopt;
    }
    const auto* form = entries->at(protocol::kRuleForm).as<std::string>();
    const auto* text = entries->at(protocol::kRuleValue).as<std::string>();
    if (form == nullptr || text == nullptr) return std::nullopt;
    const auto& formats = roamer::kComparisonFormats;
    const auto found = std::find(formats.begin(), formats.end(), *form);
    if (found == formats.end()) return std::nullopt;
    return roamer::MatchRule{static_cast<roamer::ComparisonForm>(found - formats.begin()), *text};
}

bool setExclusions(std::vector<roamer::MatchRules>& field, const PropertyList& value)
{
    const auto* jobs = value.as<Array>();
    if (jobs == nullptr) return false;
    field.clear();
    for (const auto& job : *jobs) {
        const auto* rules = job.as<Array>();
        if (rules == nullptr) return false;
        auto& exclusions = field.emplace_back();
        for (const auto& item : *rules) {
            auto rule = ruleFrom(item);
            if (!rule) return false;
            exclusions.insert(std::move(*rule));
        }
    }
    return true;
}

bool setOptions(std::vector<Dictionary>& field, const PropertyList& value)
{
    const auto* jobs = value.as<Array>();
    if (jobs == nullptr) return false;
    field.clear();
    for (const auto& job : *jobs) {
        const auto* options = job.as<Dictionary>();
        if (options == nullptr) return false;
        field.push_back(*options);
    }
    return true;
}

struct Property {
    const char* key;
    bool (*set)(SyncSet&, const PropertyList&); // whether the value is a possible one
};

using V = const PropertyList&;
constexpr std::array kProperties = std::to_array<Property>({
    {protocol::kName, [](SyncSet& set, V value) { return setText(set.name, value); }},
    {protocol::kRemoteHomeXMLSpec, [](SyncSet& set, V value) { return setOptionalText(set.remoteHomeXMLSpec, value); }},
    {protocol::kMountSuffixPath, [](SyncSet& set, V value) { return setOptionalText(set.mountSuffixPath, value); }},
    {protocol::kRemoteHomePath, [](SyncSet& set, V value) { return setOptionalText(set.remoteHomePath, value); }},
    {protocol::kLocalInclusionSets, [](SyncSet& set, V value) { return setInclusions(set.local.inclusions, value); }},
    {protocol::kLocalExclusionSets, [](SyncSet& set, V value) { return setExclusions(set.local.exclusions, value); }},
    {protocol::kRemoteInclusionSets, [](SyncSet& set, V value) { return setInclusions(set.remote.inclusions, value); }},
    {protocol::kRemoteExclusionSets, [](SyncSet& set, V value) { return setExclusions(set.remote.exclusions, value); }},
    {protocol::kDefaultSyncOptions, [](SyncSet& set, V value) { return setOptions(set.defaultSyncOptions, value); }},
    {protocol::kAutomaticSyncInterval,
     [](SyncSet& set, V value) { return setInterval(set.automaticSyncInterval, value); }},
    {protocol::kAutoSyncOnFileSystemModification,
     [](SyncSet& set, V value) { return setFlag(set.autoSyncOnFileSystemModification, value); }},
    {protocol::kIsAutomaticallySyncing,
     [](SyncSet& set, V value) { return setFlag(set.isAutomaticallySyncing, value); }},
    {protocol::kNextSyncTime, [](SyncSet& set, V value) { return setDate(set.nextSyncTime, value); }},
});

Array inclusionArrays(const std::vector<std::set<std::string>>& jobs)
{
    Array result;
    for (const auto& inclusions : jobs) {
        result.emplace_back(Array(inclusions.begin(), inclusions.end()));
    }
    return result;
}

Array exclusionArrays(const std::vector<roamer::MatchRules>& jobs)
{
    Array result;
    for (const auto& rules : jobs) {
        Array array;
        for (const auto& rule : rules) {
            array.emplace_back(Dictionary{{protocol::kRuleForm, roamer::comparisonFormat(rule.form)},
                                          {protocol::kRuleValue, rule.value}});
        }
        result.emplace_back(std::move(array));
    }
    return result;
}

} // namespace

Dictionary describe(const SyncSet& set)
{
    Dictionary result{
        {protocol::kName, set.name},
        {protocol::kRemoteHomeXMLSpec, set.remoteHomeXMLSpec.value_or("")},
        {protocol::kMountSuffixPath, set.mountSuffixPath.value_or("")},
        {protocol::kRemoteHomePath, set.remoteHomePath.value_or("")},
        {protocol::kLocalInclusionSets, inclusionArrays(set.local.inclusions)},
        {protocol::kLocalExclusionSets, exclusionArrays(set.local.exclusions)},
        {protocol::kRemoteInclusionSets, inclusionArrays(set.remote.inclusions)},
        {protocol::kRemoteExclusionSets, exclusionArrays(set.remote.exclusions)},
        {protocol::kDefaultSyncOptions, Array(set.defaultSyncOptions.begin(), set.defaultSyncOptions.end())},
        {protocol::kAutomaticSyncInterval, set.automaticSyncInterval},
        {protocol::kAutoSyncOnFileSystemModification, set.autoSyncOnFileSystemModification},
        {protocol::kIsAutomaticallySyncing, set.isAutomaticallySyncing},
    };
    if (set.nextSyncTime) {
        result.insert_or_assign(protocol::kNextSyncTime, *set.nextSyncTime);
    }
    return result;
}

std::variant<SyncSet, std::string> changed(SyncSet set, const Dictionary& changes)
{
    for (const auto& [key, value] : changes) {
        const auto property = std::find_if(kProperties.begin(), kProperties.end(),
                                           [&key = key](const Property& item) { return key == item.key; });
        if (property == kProperties.end()) {
            return "a sync set has no \"" + key + "\"";
        }
        if (!property->set(set, value)) {
            return "\"" + key + "\" cannot be " + value.description();
        }
    }
    return set;
}

} // namespace braid::agent
