#pragma once

#include <cstdint>

#include "home/roamer_preferences.h"
#include "platform/sync_engine.h"
#include "values/property_list.h"

namespace roamer
{

/// What happens to an item that changed in both homes. The values are stable.
///
/// The copy values make one home the source of the pass, which is then not written to. The abort values end the pass
/// instead of writing there or asking about a conflict; no preference can choose them.
enum ConflictResolution : std::int32_t {
    kShowConflictDialogs = 0, ///< The engine asks the person.
    kLocalWinsConflicts = 1,
    kNetworkWinsConflicts = 2,
    kCopyNetwork = 1003,
    kCopyNetworkAbort = 1004,
    kCopyLocal = 1005,
    kCopyLocalAbort = 1006,
};

/// What the preferences say about a sync type, and the engine's options for one job. A type without a key of its own
/// answers with the caller's default, whatever the preferences hold.
class SyncOptions
{
public:
    /// Borrows the preferences.
    explicit SyncOptions(RoamerPreferences& preferences);

    /// A ConflictResolution. Words that are misspelt, letter case included, and other types count as not set.
    int getConflictResolutionOverride(std::int32_t syncType, int defaultValue);

    bool getSuppressErrorsOverride(std::int32_t syncType, bool defaultValue);

    /// False only when the type's key holds exactly "dontSync".
    bool getShouldSyncOverride(std::int32_t syncType);

    /// The option dictionary of the job at position `exclusionInclusionIndex`; `syncType` is for the log alone. An
    /// unknown conflict resolution sets no conflict option.
    Dictionary getOptionsForSyncType(std::int32_t syncType, platform::SyncPeer& localPeer,
                                     platform::SyncPeer& remotePeer, int conflictResolution, bool suppressErrors,
                                     unsigned exclusionInclusionIndex);

private:
    RoamerPreferences& mPreferences;
};

} // namespace roamer
