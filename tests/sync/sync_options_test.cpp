#include <gtest/gtest.h>

#include <functional>

#include "tests/sync/sync_rig.h"

namespace
{

using namespace roamer;
using sync_test::SyncRig;

/// Which key steers which types: with only this key in the preferences, exactly these types follow it.
struct KeyCase {
    const char* key;
    std::set<int> types;
};

void expectOnlyTypesFollow(SyncRig& rig, const KeyCase& c, const PropertyList& value,
                           const std::function<bool(int type)>& follows)
{
    SCOPED_TRACE(c.key);
    rig.setUser({{c.key, value}});
    std::set<int> following;
    for (int type = -1; type <= kAllSyncParts + 12; ++type) {
        if (follows(type)) following.insert(type);
    }
    EXPECT_EQ(following, c.types);
}

TEST(SyncOptions, EachTypeFollowsItsOwnKeys)
{
    const KeyCase conflicts[] = {
        {kLoginPrefSyncConflictResolution, {0, 1}},       {kLoginNonprefSyncConflictResolution, {2}},
        {kLogoutPrefSyncConflictResolution, {8, 9}},      {kLogoutNonprefSyncConflictResolution, {10}},
        {kBackgroundConflictResolution, {3, 11, 16, 18}},
    };
    const KeyCase syncs[] = {
        {kSyncPreferencesAtLogin, {0, 1, 2}},   {kSyncBackgroundSetAtLogin, {3}},
        {kSyncPreferencesAtLogout, {8, 9, 10}}, {kSyncBackgroundSetAtLogout, {11}},
        {kSyncPreferencesInBackground, {17}},   {kSyncPreferencesAtSyncNow, {19}},
    };
    SyncRig rig;
    auto& options = rig.options;
    for (const auto& c : conflicts) {
        expectOnlyTypesFollow(rig, c, "mobileHomeWins", [&](int type) {
            return options.getConflictResolutionOverride(type, 77) == kLocalWinsConflicts;
        });
    }
    for (const auto& c : syncs)
        expectOnlyTypesFollow(rig, c, "dontSync", [&](int type) { return !options.getShouldSyncOverride(type); });
}

TEST(SyncOptions, ConflictWordsAreTakenExactlyAndTheManagedOneFirst)
{
    constexpr int kDefault = 77;
    const std::pair<PropertyList, int> cases[] = {
        {"showConflictDialogs", 0}, {"mobileHomeWins", 1},         {"networkHomeWins", 2}, {"networkHomeCopy", 1003},
        {"mobileHomeCopy", 1005},   {"NetworkHomeWins", kDefault}, {"", kDefault},         {1, kDefault},
    };
    SyncRig rig;
    for (const auto& [value, expected] : cases) {
        SCOPED_TRACE(value.description());
        rig.setUser({{kBackgroundConflictResolution, value}});
        EXPECT_EQ(rig.options.getConflictResolutionOverride(kPeriodicSync, kDefault), expected);
    }
    rig.setManaged({{kBackgroundConflictResolution, "networkHomeWins"}});
    EXPECT_EQ(rig.options.getConflictResolutionOverride(kPeriodicSync, kDefault), kNetworkWinsConflicts);
}

TEST(SyncOptions, ResolutionsBecomeEngineOptions)
{
    constexpr const char* kFavor = "SyncOptionResolveConflictInFavorOfPeerKey";
    constexpr const char* kReadOnly = "SyncOptionPeerSyncPassReadOnlyKey";
    constexpr const char* kAbortOnWrite = "SyncOptionPeerAbortSyncPassOnWriteToReadOnlyKey";
    constexpr const char* kAbortOnConflict = "SyncOptionAbortSyncPassOnConflictKey";
    constexpr const char* kNoDialogs = "SyncOptionSuppressConflictDialogsKey";
    const std::pair<int, Dictionary> cases[] = {
        {kLocalWinsConflicts, {{kFavor, "local"}}},
        {kNetworkWinsConflicts, {{kFavor, "remote"}}},
        {kCopyNetwork, {{kFavor, "remote"}, {kReadOnly, "remote"}}},
        {kCopyLocal, {{kFavor, "local"}, {kReadOnly, "local"}}},
        {kCopyNetworkAbort, {{kReadOnly, "remote"}, {kAbortOnWrite, "remote"}, {kAbortOnConflict, 1}, {kNoDialogs, 1}}},
        {kCopyLocalAbort, {{kReadOnly, "local"}, {kAbortOnWrite, "local"}, {kAbortOnConflict, 1}, {kNoDialogs, 1}}},
        {kShowConflictDialogs, {}},
    };
    SyncRig rig;
    fakes::FakeSyncPeer local("local");
    fakes::FakeSyncPeer remote("remote");
    for (auto [resolution, expected] : cases) {
        SCOPED_TRACE(resolution);
        expected["SyncOptionExclusionInclusionSetIndexKey"] = 2;
        EXPECT_EQ(rig.options.getOptionsForSyncType(kLoginPrefSync, local, remote, resolution, false, 2), expected);
        expected["SyncOptionSuppressErrorDialogsKey"] = 1;
        EXPECT_EQ(rig.options.getOptionsForSyncType(kLoginPrefSync, local, remote, resolution, true, 2), expected);
    }
}

} // namespace
