#pragma once

#include <chrono>
#include <functional>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "values/match_rule.h"
#include "values/property_list.h"

namespace platform
{

// Keys of the status dictionary.
inline constexpr const char* kSyncSetStateKey = "SyncSetStateKey";
inline constexpr const char* kSyncSetUnresolvedConflictsCountKey = "SyncSetUnresolvedConflictsCountKey";
inline constexpr const char* kSyncSetUnresolvedErrorsCountKey = "SyncSetUnresolvedErrorsCountKey";
inline constexpr const char* kSyncSetUIAppRunningKey = "SyncSetUIAppRunningKey";
inline constexpr const char* kProgressSyncPassStatusKey = "ProgressSyncPassStatusKey";
inline constexpr const char* kProgressPercentCompleteKey = "ProgressPercentCompleteKey";
inline constexpr const char* kProgressCompletedItemsKey = "ProgressCompletedItemsKey";
inline constexpr const char* kProgressTotalItemsKey = "ProgressTotalItemsKey";
inline constexpr const char* kProgressCompletedBytesKey = "ProgressCompletedBytesKey";
inline constexpr const char* kProgressTotalBytesKey = "ProgressTotalBytesKey";
inline constexpr const char* kProgressCurrentItemPathKey = "ProgressCurrentItemPathKey";

// Keys of one entry of the pass-status array (a dictionary); an entry without them is not a failure.
inline constexpr const char* kFailureNameKey = "name";
inline constexpr const char* kFailureReasonKey = "reason";
inline constexpr const char* kAttemptToWriteToReadOnlyPeer = "AttemptToWriteToReadOnlyPeerException";

// Keys of a job's option dictionary. Peer options hold a peerRef, the others an integer.
inline constexpr const char* kSyncOptionExclusionInclusionSetIndexKey = "SyncOptionExclusionInclusionSetIndexKey";
inline constexpr const char* kSyncOptionSuppressErrorDialogsKey = "SyncOptionSuppressErrorDialogsKey";
inline constexpr const char* kSyncOptionResolveConflictInFavorOfPeerKey = "SyncOptionResolveConflictInFavorOfPeerKey";
inline constexpr const char* kSyncOptionPeerSyncPassReadOnlyKey = "SyncOptionPeerSyncPassReadOnlyKey";
inline constexpr const char* kSyncOptionPeerAbortSyncPassOnWriteToReadOnlyKey =
    "SyncOptionPeerAbortSyncPassOnWriteToReadOnlyKey";
inline constexpr const char* kSyncOptionAbortSyncPassOnConflictKey = "SyncOptionAbortSyncPassOnConflictKey";
inline constexpr const char* kSyncOptionSuppressConflictDialogsKey = "SyncOptionSuppressConflictDialogsKey";

/// `lastSyncResult` of a pass that was aborted on request.
inline constexpr long kSyncResultAborted = -999;

/// One of the set's two homes.
class SyncPeer
{
public:
    virtual ~SyncPeer() = default;

    /// Opaque; what peer options carry.
    virtual roamer::PropertyList peerRef() = 0;

    /// One inclusion set per job; an empty set is the whole home. May raise Failure.
    virtual void setInclusionSets(const std::vector<std::set<std::string>>& sets) = 0;

    /// One rule set per job, in the same order. May raise Failure.
    virtual void setExclusionSets(const std::vector<roamer::MatchRules>& sets) = 0;
};

using StatusCallback = std::function<void(const roamer::Dictionary& status)>;

/// The portable home's sync set. It is the engine's; this is a handle, which stays usable as an object when the set or
/// the engine goes away: setters and commands then raise Failure, questions answer as for a set that is idle.
class PhdSyncSet
{
public:
    virtual ~PhdSyncSet() = default;

    virtual int state() = 0; ///< A sync-set state; 0 is idle.
    virtual bool isAutomaticallySyncing() = 0;

    // Each setter may raise Failure.
    virtual void setIsAutomaticallySyncing(bool on) = 0;
    virtual void setRemoteHomeXMLSpec(const std::optional<std::string>& url) = 0;
    virtual void setMountSuffixPath(const std::optional<std::string>& path) = 0;
    /// Where the network home lies now; null: the engine finds and mounts it itself.
    virtual void setRemoteHomePath(const std::optional<std::string>& path) = 0;
    /// One option dictionary per job.
    virtual void setDefaultSyncOptions(const std::vector<roamer::Dictionary>& options) = 0;
    virtual void setAutomaticSyncInterval(double seconds) = 0;
    virtual void setAutoSyncOnFileSystemModification(bool on) = 0;
    virtual void setNextSyncTime(roamer::Date date) = 0;

    virtual SyncPeer& localPeer() = 0;
    virtual SyncPeer& remotePeer() = 0;

    /// Asks for a pass; returns at once. May raise Failure.
    virtual void startSync() = 0;
    /// Asks the running pass to end; returns at once. Nothing happens when none runs or the engine is gone.
    virtual void abortSync() = 0;

    /// The engine's present status dictionary, always asked for anew; empty when the engine does not answer.
    virtual roamer::Dictionary info() = 0;
    /// Of the last pass: 0, -999 when it was aborted, else an error code.
    virtual long lastSyncResult() = 0;

    /// As the present status counts them; 0 when the engine does not answer.
    virtual unsigned unresolvedConflictCount() = 0;

    /// Has the engine's own window show what needs a person, also what was set aside; returns at once. Nothing is shown
    /// without a display. May raise Failure.
    virtual void displayConflictsAndErrors() = 0;

    /// Called on the main run loop with each status of the engine. An empty function: nobody is told. Read it to put it
    /// back later.
    virtual StatusCallback statusCallback() const = 0;
    virtual void setStatusCallback(StatusCallback callback) = 0;

    /// Removes the set from the engine.
    virtual void forget() = 0;
};

/// The engine's process as its clients see it.
class SyncManager
{
public:
    virtual ~SyncManager() = default;

    /// The set, or null. Starts the engine when none runs and waits for it in run-loop slices, at most 10 seconds.
    virtual std::shared_ptr<PhdSyncSet> phdSyncSet() = 0;

    /// Creates the set (starting the engine the same way); null or Failure when that cannot be done.
    virtual std::shared_ptr<PhdSyncSet> createPHDSyncSet(const std::string& name,
                                                         const std::optional<std::string>& remoteXMLSpec,
                                                         const std::optional<std::string>& mountSuffixPath) = 0;

    /// Only looks; starts nothing.
    virtual bool syncAgentIsRunning() = 0;

    /// While what it returns lives, reading or creating the set waits for an engine but starts none: for whoever starts
    /// and stops the engine himself. It may outlive the manager.
    virtual std::shared_ptr<void> holdStarts() = 0;

    /// From now on the engine is this process, which may still be on its way: any other that serves, as one that makes
    /// room for it, counts as none. 0: whichever serves.
    virtual void expectSyncAgent(int pid) = 0;
};

} // namespace platform
