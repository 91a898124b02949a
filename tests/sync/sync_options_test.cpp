#include <gtest/gtest.h>

#include "tests/sync/sync_rig.h"

namespace
{

using namespace roamer;
using sync_test::SyncRig;

TEST(SyncOptions, WordsChooseResolutionsAndThoseBecomeEngineOptions)
{
    constexpr const char* kFavor = "SyncOptionResolveConflictInFavorOfPeerKey";
    constexpr const char* kReadOnly = "SyncOptionPeerSyncPassReadOnlyKey";
    constexpr const char* kAbortOnWrite = "SyncOptionPeerAbortSyncPassOnWriteToReadOnlyKey";
    constexpr const char* kAbortOnConflict = "SyncOptionAbortSyncPassOnConflictKey";
    constexpr const char* kNoDialogs = "SyncOptionSuppressConflictDialogsKey";
    constexpr int kDefault = 77;
    struct Case {
        const char* word;
        int chosen, resolution; ///< Chosen by the word, and asked of the engine.
        Dictionary options;
    } const cases[] = {
        {"mobileHomeWins", 1, kLocalWinsConflicts, {{kFavor, "local"}}},
        {"networkHomeWins", 2, kNetworkWinsConflicts, {{kFavor, "remote"}}},
        {"networkHomeCopy", 1003, kCopyNetwork, {{kFavor, "remote"}, {kReadOnly, "remote"}}},
        {"mobileHomeCopy", 1005, kCopyLocal, {{kFavor, "local"}, {kReadOnly, "local"}}},
        {"NetworkHomeWins",
         kDefault,
         kCopyNetworkAbort,
         {{kReadOnly, "remote"}, {kAbortOnWrite, "remote"}, {kAbortOnConflict, 1}, {kNoDialogs, 1}}},
        {"",
         kDefault,
         kCopyLocalAbort,
         {{kReadOnly, "local"}, {kAbortOnWrite, "local"}, {kAbortOnConflict, 1}, {kNoDialogs, 1}}},
        {"showConflictDialogs", 0, kShowConflictDialogs, {}},
    };
    SyncRig rig;
    fakes::FakeSyncPeer local("local");
    fakes::FakeSyncPeer remote("remote");
    for (auto [word, chosen, resolution, expected] : cases) {
        SCOPED_TRACE(word);
        rig.prefer(kBackgroundConflictResolution, word);
        EXPECT_EQ(rig.options.getConflictResolutionOverride(kPeriodicSync, kDefault), chosen);
        expected["SyncOptionExclusionInclusionSetIndexKey"] = 2;
        EXPECT_EQ(rig.options.getOptionsForSyncType(kLoginPrefSync, local, remote, resolution, false, 2), expected);
        expected["SyncOptionSuppressErrorDialogsKey"] = 1;
        EXPECT_EQ(rig.options.getOptionsForSyncType(kLoginPrefSync, local, remote, resolution, true, 2), expected);
    }
}

} // namespace
