#pragma once

#include "lists/sync_lists.h"
#include "platform/linux/predicates.h"
#include "tests/fakes/account_rig.h"

namespace lists_test
{

/// A list of inclusion entries.
inline roamer::Array paths(std::initializer_list<const char*> entries)
{
    roamer::Array result;
    for (const auto* path : entries)
        result.emplace_back(roamer::Dictionary{{"path", path}});
    return result;
}

/// A list of exclusion entries.
inline roamer::Array rules(std::initializer_list<std::pair<const char*, const char*>> entries)
{
    roamer::Array result;
    for (const auto& [comparison, value] : entries)
        result.emplace_back(roamer::Dictionary{{"comparison", comparison}, {"value", value}});
    return result;
}

/// The lists of the account "jo"; the engine evaluates the rules.
struct HomeRig : fakes::AccountRig {
    std::unique_ptr<platform::Predicates> predicates = platform::makePredicates();
    roamer::ExclusionLists exclusions{userRecord, preferences, *predicates, effectiveUser};
    roamer::InclusionLists inclusions{userRecord, preferences, homes, *fileSystem, exclusions, effectiveUser};
    roamer::SyncLists lists{userRecord, preferences, homes, *fileSystem, *predicates, effectiveUser};

    void addLocal(const std::string& path) { fakes::TempRoot::writeFile(localHome + "/" + path, path); }
    void addNetwork(const std::string& path) { fakes::TempRoot::writeFile(networkHome + "/" + path, path); }
};

} // namespace lists_test
