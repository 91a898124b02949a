#pragma once

/// The names that BraidAgent and its clients share on the session bus. Standard library only.
///
/// Values: a dictionary is a{sv}, an array av, integers x, reals d, flags b, bytes ay, points in time d (seconds since
/// 1970 UTC). A text that may be missing travels as "" when it is.
namespace braid::protocol
{

inline constexpr const char* kBusName = "com.kestrel.braid";
/// Held by the session's engine while a login's engine has the home: kBusName is about to come back.
inline constexpr const char* kWaitingBusName = "com.kestrel.braid.waiting";
inline constexpr const char* kObjectPath = "/com/kestrel/braid";
inline constexpr const char* kInterface = "com.kestrel.braid.Engine";

// Methods.
inline constexpr const char* kDescribeSet = "describeSet";       ///< () → a{sv}: the set's keys below; empty: no set
inline constexpr const char* kCreateSet = "createSet";           ///< (a{sv}): kName is required
inline constexpr const char* kConfigureSet = "configureSet";     ///< (a{sv}): all of the changes or none of them
inline constexpr const char* kForgetSet = "forgetSet";           ///< (): answers when it is gone
inline constexpr const char* kStartSync = "startSync";           ///< () → t: the serial of the pass
inline constexpr const char* kAbortSync = "abortSync";           ///< (): nothing happens when no pass runs
inline constexpr const char* kInfo = "info";                     ///< () → a{sv}: the status as it is now
inline constexpr const char* kLastSyncResult = "lastSyncResult"; ///< () → x: 0, -999, else an error code
inline constexpr const char* kDisplayConflictsAndErrors = "displayConflictsAndErrors"; ///< (): with a display only
inline constexpr const char* kMatters = "matters"; ///< () → a{sv}: what needs a person, under the keys below
inline constexpr const char* kResolve = "resolve"; ///< (av paths, s keep) → a{sv}: answers when it is carried out
inline constexpr const char* kRetry = "retry"; ///< (av paths) → a{sv}: syncs these items; answers when that is done
inline constexpr const char* kSetAside =
    "setAside"; ///< (av matters, b aside): not counted until it changes, or is again

/// Signal (t serial, a{sv} status). The serial is that of the pass that the status is about, or of the last one.
inline constexpr const char* kStatusChanged = "statusChanged";

// Error names of refused calls.
inline constexpr const char* kErrorPrefix = "com.kestrel.braid.Error.";
inline constexpr const char* kNoSyncSet = "NoSyncSet";
inline constexpr const char* kSyncSetExists = "SyncSetExists";
inline constexpr const char* kPassIsRunning = "PassIsRunning";
inline constexpr const char* kInvalidValue = "InvalidValue";
inline constexpr const char* kNotSaved = "NotSaved";         ///< The home's marker folder could not be written.
inline constexpr const char* kEnding = "Ending";             ///< The engine's process is about to end.
inline constexpr const char* kNotForgotten = "NotForgotten"; ///< The set is still there, whole.

// Keys of the set, over the bus and in its file.
inline constexpr const char* kName = "name";
inline constexpr const char* kRemoteHomeXMLSpec = "remoteHomeXMLSpec";
inline constexpr const char* kMountSuffixPath = "mountSuffixPath";
inline constexpr const char* kRemoteHomePath = "remoteHomePath";
inline constexpr const char* kIsAutomaticallySyncing = "isAutomaticallySyncing";
inline constexpr const char* kDefaultSyncOptions = "defaultSyncOptions"; ///< Array of option dictionaries, one per job.
inline constexpr const char* kAutomaticSyncInterval = "automaticSyncInterval"; ///< Seconds.
inline constexpr const char* kAutoSyncOnFileSystemModification = "autoSyncOnFileSystemModification";
inline constexpr const char* kNextSyncTime = "nextSyncTime";
inline constexpr const char* kLocalInclusionSets =
    "localPeer.inclusionSets"; ///< Array of arrays of paths, one per job.
inline constexpr const char* kLocalExclusionSets =
    "localPeer.exclusionSets"; ///< Array of arrays of rules, one per job.
inline constexpr const char* kRemoteInclusionSets = "remotePeer.inclusionSets";
inline constexpr const char* kRemoteExclusionSets = "remotePeer.exclusionSets";

// Keys of one exclusion rule.
inline constexpr const char* kRuleForm = "form"; ///< The predicate text, for example "path == %@".
inline constexpr const char* kRuleValue = "value";

// Keys of what needs a person, and of its items. A path is home-relative, as bytes.
inline constexpr const char* kConflicts = "conflicts";     ///< Array of dictionaries.
inline constexpr const char* kErrors = "errors";           ///< Array of dictionaries.
inline constexpr const char* kLocalHome = "localHome";     ///< Absolute path, as bytes.
inline constexpr const char* kNetworkHome = "networkHome"; ///< The same where the last pass reached it; empty: unknown.
inline constexpr const char* kComputer = "computer";       ///< What this computer calls itself.
inline constexpr const char* kPath = "path";
inline constexpr const char* kKind = "kind";       ///< Of a conflict, as braid::Conflict has it.
inline constexpr const char* kMessage = "message"; ///< Of an error, in words.
inline constexpr const char* kIsSetAside = "isSetAside";
inline constexpr const char* kLocalVersion = "local"; ///< Of a conflict: a dictionary.
inline constexpr const char* kNetworkVersion = "network";
inline constexpr const char* kVersionKind = "kind";         ///< A number: 0 nothing, 1 file, 2 folder, 3 link, 4 other.
inline constexpr const char* kVersionSize = "size";         ///< Bytes.
inline constexpr const char* kVersionTime = "mtime";        ///< Nanoseconds since 1970 UTC.
inline constexpr const char* kVersionComputer = "computer"; ///< Who brought it there; left out where that is unknown.
inline constexpr const char* kIsError = "isError";          ///< In setAside: the error of that path, not its conflict.

// What resolve is told to keep.
inline constexpr const char* kKeepLocal = "local";
inline constexpr const char* kKeepNetwork = "network";
inline constexpr const char* kKeepBoth = "both";       ///< The network's version gets a name of its own.
inline constexpr const char* kKeepDelete = "delete";   ///< Of a deletion of most of a home: it is meant.
inline constexpr const char* kKeepRestore = "restore"; ///< The same: all comes back.

// Keys of what resolve and retry answer.
inline constexpr const char* kResult = "result"; ///< As lastSyncResult.
inline constexpr const char* kReason = "reason"; ///< In words, when the result is not 0.
inline constexpr const char* kBeside = "beside"; ///< Array of {path, newPath}, bytes, of what was kept beside.
inline constexpr const char* kNewPath = "newPath";

// The window's program and its name on the bus, which it has while its window is up.
inline constexpr const char* kWindowBusName = "com.kestrel.braid.conflicts";
inline constexpr const char* kWindowObjectPath = "/com/kestrel/braid/conflicts";
inline constexpr const char* kWindowInterface = "com.kestrel.braid.Conflicts";
inline constexpr const char* kWindowShow = "show"; ///< (b withSetAside): to the front
inline constexpr const char* kWindowProgram = "/System/Library/Hearth/BraidAgent.app/Contents/ZilOS/BraidConflicts";
inline constexpr const char* kWithSetAsideArgument = "--all";

// What peer options of a job carry.
inline constexpr const char* kLocalPeerRef = "braid.localPeer";
inline constexpr const char* kRemotePeerRef = "braid.remotePeer";

// The program, below the system root.
inline constexpr const char* kProgram = "/System/Library/Hearth/BraidAgent.app/Contents/ZilOS/BraidAgent";
inline constexpr const char* kUidArgument = "-uid";
inline constexpr const char* kSessionArgument = "--session"; ///< The session's engine, which also syncs by itself.

} // namespace braid::protocol
