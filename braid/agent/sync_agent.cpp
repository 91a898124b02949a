#include "sync_agent.h"

#include <utility>

#include "braid/protocol.h"
#include "util/debug_log.h"

namespace braid::agent
{

namespace
{

using platform::seconds;
using roamer::DebugLog;
using roamer::Dictionary;

constexpr double kShortestStatusGapSeconds = 0.1;
// Clients take an engine that says nothing for ten seconds for a stalled one.
constexpr double kHeartbeatSeconds = 5;

std::variant<PassRequest, Refusal> requestOf(const SyncSet& set)
{
    auto jobs = jobsOf(set);
    if (auto* refused = std::get_if<Refusal>(&jobs)) return std::move(*refused);
    return PassRequest{{set.remoteHomePath, set.remoteHomeXMLSpec, set.mountSuffixPath},
                       std::get<std::vector<Job>>(std::move(jobs))};
}

} // namespace

SyncAgent::SyncAgent(platform::RunLoop& runLoop, SyncSetStore& store, PassEngine& engine, HomeWatcher& watcher)
    : mRunLoop(runLoop), mStore(store), mEngine(engine), mWatcher(watcher), mSet(store.load()),
      mSchedule(runLoop, [this] { runInBackground(); })
{
    DebugLog(1, "agent: start set=%d automatic=%d", mSet.has_value(), mSet && mSet->isAutomaticallySyncing);
    applySchedule();
}

Dictionary SyncAgent::describeSet() const
{
    return mSet ? agent::describe(*mSet) : Dictionary{};
}

std::optional<SyncAgent::Refused> SyncAgent::createSet(const Dictionary& properties)
{
    if (mEnded) return Refused{protocol::kEnding, "the sync engine is about to end"};
    if (mSet) return Refused{protocol::kSyncSetExists, "there is a sync set for this home already"};
    if (!properties.contains(protocol::kName)) return Refused{protocol::kInvalidValue, "a sync set needs a name"};
    auto set = changed(SyncSet{}, properties);
    if (const auto* reason = std::get_if<std::string>(&set)) return Refused{protocol::kInvalidValue, *reason};
    return adopt(std::get<SyncSet>(std::move(set)));
}

std::optional<SyncAgent::Refused> SyncAgent::configureSet(const Dictionary& changes)
{
    if (!mSet) return Refused{protocol::kNoSyncSet, "there is no sync set"};
    auto set = changed(*mSet, changes);
    if (const auto* reason = std::get_if<std::string>(&set)) return Refused{protocol::kInvalidValue, *reason};
    return adopt(std::get<SyncSet>(std::move(set)));
}

std::optional<SyncAgent::Refused> SyncAgent::adopt(SyncSet set)
{
    if (mSet == set) return std::nullopt;
    if (const auto reason = mStore.save(set)) return Refused{protocol::kNotSaved, *reason};
    mSet = std::move(set);
    applySchedule();
    return std::nullopt;
}

std::optional<SyncAgent::Refused> SyncAgent::forgetSet()
{
    if (!mSet) return std::nullopt;
    if (const auto reason = mStore.remove()) return Refused{protocol::kNotSaved, *reason};
    mSet.reset();
    applySchedule();
    abortSync();
    return std::nullopt;
}

void SyncAgent::applySchedule()
{
    BackgroundSchedule::Settings settings;
    if (mSet && !mEnded) {
        settings = {mSet->isAutomaticallySyncing, mSet->automaticSyncInterval, mSet->autoSyncOnFileSystemModification,
                    mSet->nextSyncTime};
    }
    mSchedule.configure(settings);
    applyWatch();
}

void SyncAgent::applyWatch()
{
    const bool wanted = mSet && !mEnded && mSet->isAutomaticallySyncing && mSet->autoSyncOnFileSystemModification;
    if (wanted ? mWatchedFor == mSet->local : !mWatchedFor) return;
    mWatchedFor.reset();
    mWatcher.stop();
    if (!wanted) return;
    // A set that is refused has nothing to watch; the next pass says so.
    auto jobs = jobsOf(*mSet);
    if (std::holds_alternative<Refusal>(jobs)) return;
    mWatchedFor = mSet->local;
    mWatcher.watch(std::get<std::vector<Job>>(std::move(jobs)), [this] { mSchedule.homeChanged(); });
}

std::variant<std::uint64_t, SyncAgent::Refused> SyncAgent::startSync()
{
    if (mEnded) return Refused{protocol::kEnding, "the sync engine is about to end"};
    if (!mSet) return Refused{protocol::kNoSyncSet, "there is no sync set"};
    if (passRuns()) return Refused{protocol::kPassIsRunning, "the homes are being synced already"};
    return startPass(*mSet, Cause::Request);
}

void SyncAgent::runInBackground()
{
    if (mEnded || !mSet || passRuns()) return;
    mSet->nextSyncTime = mSchedule.nextTime();
    if (const auto reason = mStore.save(*mSet)) {
        DebugLog(0, "schedule: next time not saved reason=\"%s\"", reason->c_str());
    }
    startPass(*mSet, Cause::Background);
}

std::uint64_t SyncAgent::startPass(const SyncSet& set, Cause cause)
{
    ++mSerial;
    mPassStart = mRunLoop.now();
    mProgress = Progress{};
    mProgress.state = PassState::Starting;
    mSchedule.passStarted();
    mHeartbeat = mRunLoop.every(seconds(kHeartbeatSeconds), [this] { send(); });
    DebugLog(1, "pass: start serial=%llu cause=%s", static_cast<unsigned long long>(mSerial),
             cause == Cause::Request ? "request" : "background");
    send();
    auto wanted = requestOf(set);
    if (const auto* refused = std::get_if<Refusal>(&wanted)) {
        PassReport report;
        report.result = refused->code;
        report.reason = refused->reason;
        // Later, so that who asked has the serial before the pass ends.
        mRefusal = mRunLoop.after(seconds(0), [this, report] { passEnded(report); });
        return mSerial;
    }
    mEngine.start(
        std::get<PassRequest>(std::move(wanted)), [this](const Progress& progress) { passProgressed(progress); },
        [this](const PassReport& report) { passEnded(report); });
    return mSerial;
}

void SyncAgent::abortSync()
{
    if (passRuns()) mEngine.stop();
}

void SyncAgent::passProgressed(const Progress& progress)
{
    // Idle is said once the result can be read.
    if (!passRuns() || progress.state == PassState::Idle) return;
    mProgress = progress;
    const auto gap = seconds(kShortestStatusGapSeconds);
    if (progress.state != mSentState || !mSentTime || mRunLoop.now() - *mSentTime >= gap) send();
}

void SyncAgent::passEnded(const PassReport& report)
{
    mLastResult = report.result;
    mLastReason = report.reason;
    mHeartbeat.invalidate();
    DebugLog(
        report.result == kPassSucceeded || report.result == kPassAborted ? 1 : 0,
        "pass: end serial=%llu result=%d reason=\"%s\" created=%llu updated=%llu deleted=%llu renamed=%llu "
        "bytes=%llu conflicts=%zu errors=%zu seconds=%.1f",
        static_cast<unsigned long long>(mSerial), report.result, report.reason.c_str(),
        static_cast<unsigned long long>(report.counts.created), static_cast<unsigned long long>(report.counts.updated),
        static_cast<unsigned long long>(report.counts.deleted), static_cast<unsigned long long>(report.counts.renamed),
        static_cast<unsigned long long>(report.counts.bytes), report.conflicts.size(), report.errors.size(),
        platform::Seconds(mRunLoop.now() - mPassStart).count());

    mProgress.state = report.result == kPassAborted ? PassState::Aborted : PassState::Finished;
    mProgress.jobStatus = report.jobStatus;
    mProgress.conflicts = report.conflicts.size();
    mProgress.errors = report.errors.size();
    mProgress.percent.reset();
    mProgress.currentPath.clear();
    send();

    mProgress = Progress{};
    countOpenMatters();
    send();
    mSchedule.passEnded(report.result == kPassSucceeded);
    if (mEnded) mEnded();
}

void SyncAgent::countOpenMatters()
{
    const auto open = mEngine.openMatters();
    mProgress.conflicts = open.conflicts.size();
    mProgress.errors = open.errors.size();
}

Dictionary SyncAgent::info()
{
    // Another program may have settled a conflict meanwhile.
    if (!passRuns()) countOpenMatters();
    return agent::describe(Status{mProgress, false, mLastResult, mLastReason});
}

void SyncAgent::send()
{
    mSentState = mProgress.state;
    mSentTime = mRunLoop.now();
    if (!mListener) return;
    mListener(mSerial, agent::describe(Status{mProgress, false, mLastResult, mLastReason}));
}

void SyncAgent::end(std::function<void()> ended)
{
    if (mEnded) return;
    mEnded = std::move(ended);
    applySchedule();
    if (!passRuns()) return mEnded();
    // A refused pass ends by itself, before anything else happens.
    mEngine.stop();
}

} // namespace braid::agent
