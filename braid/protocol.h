#pragma once

/// The names that BraidAgent and its clients share on the session bus. Standard library only.
///
/// Values: a dictionary is a{sv}, an array av, integers x, reals d, flags b, bytes ay, points in time d (seconds since
/// 1970 UTC). A text that may be missing travels as "" when it is.
namespace braid::protocol
{

inline constexpr const char* kBusName = "com.kestrel.braid";
inline constexpr const char* kObjectPath = "/com/kestrel/braid";
inline constexpr const char* kInterface = "com.kestrel.braid.Engine";

// Methods.
inline constexpr const char* kDescribeSet = "describeSet";       ///< () → a{sv}: the set's keys below; empty: no set
inline constexpr const char* kCreateSet = "createSet";           ///< (a{sv}): kName is required
inline constexpr const char* kConfigureSet = "configureSet";     ///< (a{sv}): all of the changes or none of them
inline constexpr const char* kForgetSet = "forgetSet";           ///< (): nothing happens when there is none
inline constexpr const char* kStartSync = "startSync";           ///< () → t: the serial of the pass
inline constexpr const char* kAbortSync = "abortSync";           ///< (): nothing happens when no pass runs
inline constexpr const char* kInfo = "info";                     ///< () → a{sv}: the status as it is now
inline constexpr const char* kLastSyncResult = "lastSyncResult"; ///< () → x: 0, -999, else an error code
inline constexpr const char* kDisplayConflictsAndErrors = "displayConflictsAndErrors"; ///< (): with a display only

/// Signal (t serial, a{sv} status). The serial is that of the pass that the status is about, or of the last one.
inline constexpr const char* kStatusChanged = "statusChanged";

// Error names of refused calls.
inline constexpr const char* kErrorPrefix = "com.kestrel.braid.Error.";
inline constexpr const char* kNoSyncSet = "NoSyncSet";
inline constexpr const char* kSyncSetExists = "SyncSetExists";
inline constexpr const char* kPassIsRunning = "PassIsRunning";
inline constexpr const char* kInvalidValue = "InvalidValue";
inline constexpr const char* kNotSaved = "NotSaved"; ///< The home's marker folder could not be written.
inline constexpr const char* kEnding = "Ending";     ///< The engine's process is about to end.

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

// What peer options of a job carry.
inline constexpr const char* kLocalPeerRef = "braid.localPeer";
inline constexpr const char* kRemotePeerRef = "braid.remotePeer";

// The program, below the system root.
inline constexpr const char* kProgram = "/System/Library/Hearth/BraidAgent.app/Contents/ZilOS/BraidAgent";
inline constexpr const char* kUidArgument = "-uid";
inline constexpr const char* kSessionArgument = "--session"; ///< The session's engine, which also syncs by itself.

} // namespace braid::protocol
