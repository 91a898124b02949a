#include <gtest/gtest.h>

#include "tests/sync/sync_rig.h"

namespace
{

using namespace roamer;
using sync_test::SyncRig;

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
