#pragma once

#include <chrono>
#include <cstdint>
#include <filesystem>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <set>
#include <stop_token>
#include <string>
#include <variant>
#include <vector>

#include "disk/descriptor.h"
#include "disk/facts.h"
#include "match_rule.h"

/// The engine as its callers see it: one pass between two homes.
namespace braid
{

enum class Peer { Local, Network };

/// Where a pass stands; the numbers go over the bus as they are.
enum class PassState {
    Idle = 0,
    Starting = 1,
    Updating = 2,
    Checking = 3,
    Processing = 4,
    Cleanup = 5,
    Finished = 6,
    Aborted = 7,
    Invalid = 8,
};

/// What one job may do. Without any option a conflict is recorded and both sides are left alone.
struct JobOptions {
    std::optional<Peer> resolveConflictsInFavorOf;
    std::optional<Peer> readOnlyPeer;               ///< Nothing is written to this peer outside its marker folder.
    std::optional<Peer> abortOnWriteToReadOnlyPeer; ///< The job ends before its first write if it would write there.
    bool abortOnConflict = false;
    bool suppressConflictDialogs = false;
    bool suppressErrorDialogs = false;
};

/// A share of the home. An item belongs to the first job of the pass that covers it and whose rules do not exclude it.
struct Job {
    std::set<std::string> inclusions; ///< Home-relative paths with all below them; empty: the whole home.
    std::vector<MatchRule> exclusions;
    JobOptions options;
};

struct Counts {
    std::uint64_t created = 0;
    std::uint64_t updated = 0;
    std::uint64_t deleted = 0;
    std::uint64_t renamed = 0;
    std::uint64_t bytes = 0; ///< File content written, both directions together.
};

/// What lay at a path of one home when a pass looked. Nanoseconds since 1970 UTC, bytes.
struct Version {
    Kind kind = Kind::Absent;
    std::int64_t size = 0;
    std::int64_t mtime = 0;
};

/// A conflict that the pass left for a person, or kept from an earlier pass.
struct Conflict {
    std::string path; ///< Home-relative, in the bytes of the file system.
    std::string kind; ///< "modify/modify", "modify/delete", "create/create", "type/type", "delete-folder/edit-inside",
                      ///< "name-collision" …
    Version local{};  ///< Both absent for "mass-deletion", which is about no single item.
    Version network{};
};

struct ItemError {
    std::string path;
    std::string message; ///< In words, with the reason.
};

/// How one job ended, when it did not simply finish.
struct JobStatus {
    std::string name;   ///< "" for success, else for example "AttemptToWriteToReadOnlyPeerException".
    std::string reason; ///< In words.
};

struct Progress {
    PassState state = PassState::Idle;
    std::optional<double> percent; ///< 0 to 100, only while Processing.
    std::uint64_t completedItems = 0;
    std::uint64_t totalItems = 0;
    std::uint64_t completedBytes = 0;
    std::uint64_t totalBytes = 0;
    std::string currentPath; ///< Absolute path of the item at hand, "" for none.
    std::uint64_t conflicts = 0;
    std::uint64_t errors = 0;
    std::vector<JobStatus> jobStatus; ///< One per job that has ended, in job order.
};

/// Numbers of PassReport::result. Other codes are positive errno values.
inline constexpr int kPassSucceeded = 0;
inline constexpr int kPassAborted = -999;
inline constexpr int kPassRefused = -1000; ///< Not a pair of homes that may be synced; the reason says why.

/// One change that a dry run foresees.
struct PlannedChange {
    enum class What : std::uint8_t {
        Create,
        Update,     ///< Content or kind, with all attributes.
        Rename,     ///< From `from` in the same home.
        Attributes, ///< Mode, time or extended attributes alone.
        Delete,
    };
    What what = What::Create;
    Peer where = Peer::Local; ///< The home that is changed.
    std::string path;
    std::string from; ///< Rename only.
};

struct PassReport {
    int result = kPassSucceeded; ///< 0 also when conflicts or item errors remain.
    std::string reason;          ///< In words, when the result is not 0.
    Counts counts;
    std::vector<Conflict> conflicts;
    std::vector<ItemError> errors;
    std::vector<JobStatus> jobStatus; ///< One per job, in job order.
    double seconds = 0;               ///< From the pass's start to its end.
    /// File-system operations in each home by kind ("stat", "list" …), those that are not 0.
    std::map<std::string, std::uint64_t> localOps;
    std::map<std::string, std::uint64_t> networkOps;
    std::vector<std::string> skipped;      ///< Sockets, pipes, devices and mounted folders: left alone, nobody's task.
    std::vector<PlannedChange> planned;    ///< Of a dry run: exactly what the pass would change, in its order.
    std::vector<std::string> unrecorded{}; ///< Of a dry run: in step, but not as the archive holds it.
};

/// What needs a person.
struct OpenMatters {
    std::vector<Conflict> conflicts;
    std::vector<ItemError> errors;
};

/// An item that the last pass on this kind of occasion left out, and that comes back under a job, is compared afresh if
/// a side changed. What people sync at login and logout alone has not come back only because passes in the background
/// went by.
enum class Occasion {
    Asked,
    Background,
    Aside, ///< A few items by the way: leaves no trace in what comes back later.
};

struct PassSettings {
    std::filesystem::path localHome;
    std::filesystem::path networkHome;
    std::vector<Job> jobs;
    bool dryRun = false; ///< Decide and report, write nothing anywhere.
    Occasion occasion = Occasion::Asked;
    /// More than half of a home's items deleted in one pass looks like an accident: the pass then changes nothing and
    /// has a conflict of kind "mass-deletion" at path ".", unless a person said that this is meant.
    bool allowMassDeletion = false;
    /// Called on the pass's thread, at each change of state and otherwise at most ten times a second. May be empty.
    std::function<void(const Progress&)> onProgress;
    /// Called on the pass's thread before it changes anything, with all that it leaves for a person, and later with
    /// the errors that have joined since, as often as onProgress. The last of them only the report has. May be empty.
    std::function<void(const OpenMatters& fresh)> onMatters{};
};

/// Why the two folders cannot be synced with each other, in words; nothing if they can. Writes nothing.
std::optional<std::string> whyNotAPair(const std::filesystem::path& localHome,
                                       const std::filesystem::path& networkHome);

/// For the start of a process that runs passes: lets it have more files open at once than the usual 1024, which halves
/// the work of copying many new files. What the process starts inherits it.
void allowManyOpenFiles();

/// Runs one pass to its end on the calling thread. Never throws for what a file system can do; a stop request ends the
/// pass soon, with kPassAborted and everything consistent. Takes the one-engine lock of the local home for the pass
/// unless the caller hands over one that it holds; EBUSY if another process holds it. The last state that the progress
/// callback hears of is Finished or Aborted; what idles afterwards is the caller.
PassReport runPass(const PassSettings& settings, std::stop_token stop, class EngineLock* held = nullptr);

/// "One engine for a local home": a lock file with the process id in the local home's marker folder, freed by the
/// kernel when the process ends.
class EngineLock
{
public:
    struct Holder {
        int pid = 0; ///< 0: the holder has not written it (yet).

        std::string words() const; ///< "Process 4711", or "Another process".
    };

    /// The lock, or who holds it, or (a string) why the marker folder cannot be used.
    /// With `leavesNoTrace` nothing is written: the lock file must be there already, and names nobody.
    static std::variant<std::unique_ptr<EngineLock>, Holder, std::string> take(const std::filesystem::path& localHome,
                                                                               bool leavesNoTrace = false);
    /// Who holds the lock at this moment; nothing where it is free. Changes nothing.
    static std::optional<Holder> holder(const std::filesystem::path& localHome);

    ~EngineLock();
    EngineLock(const EngineLock&) = delete;
    EngineLock& operator=(const EngineLock&) = delete;

private:
    EngineLock(Descriptor file, bool leavesNoTrace);
    Descriptor mFile;
    bool mLeavesNoTrace;
};

/// What the archive of a local home still holds as unresolved with the network home that it synced with last. A local
/// home without an archive has none.
OpenMatters openMatters(const std::filesystem::path& localHome);

} // namespace braid
