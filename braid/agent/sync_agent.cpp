#include "sync_agent.h"

#include <algorithm>
#include <iterator>
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
// A client's call is answered within ten.
constexpr double kLongestForgetSeconds = 8;
constexpr double kLongestWindowStartSeconds = 10;
// Another program may settle a conflict, and clients wait for that.
constexpr double kRecountSeconds = 5;
// Events arrive a little late.
constexpr double kLookDelaySeconds = 1;
constexpr std::size_t kChangesAtOnce = 500;

SyncAgent::Refused ending()
{
    return {protocol::kEnding, "the sync engine is about to end"};
}

} // namespace

SyncAgent::SyncAgent(const Uses& uses, bool schedules)
    : mUses(uses), mSchedules(schedules), mSet(uses.store.load()), mMatters(uses.setAside),
      mSchedule(uses.runLoop, [this] { runInBackground(); })
{
    DebugLog(1, "agent: start set=%d automatic=%d schedules=%d", mSet.has_value(), mSet && mSet->isAutomaticallySyncing,
             mSchedules);
    mUses.conflictsApp.setStateListener([this] { appChanged(); });
    applySchedule();
    recount();
}

Dictionary SyncAgent::describeSet() const
{
    return mSet ? agent::describe(*mSet) : Dictionary{};
}

std::optional<SyncAgent::Refused> SyncAgent::createSet(const Dictionary& properties)
{
    if (mEnded) return ending();
    if (mSet) return Refused{protocol::kSyncSetExists, "there is a sync set for this home already"};
    if (!properties.contains(protocol::kName)) return Refused{protocol::kInvalidValue, "a sync set needs a name"};
    auto set = changed(SyncSet{}, properties);
    if (const auto* reason = std::get_if<std::string>(&set)) return Refused{protocol::kInvalidValue, *reason};
    return adopt(std::get<SyncSet>(std::move(set)));
}

std::optional<SyncAgent::Refused> SyncAgent::configureSet(const Dictionary& changes)
{
    if (mEnded) return ending();
    if (!mSet) return Refused{protocol::kNoSyncSet, "there is no sync set"};
    auto set = changed(*mSet, changes);
    if (const auto* reason = std::get_if<std::string>(&set)) return Refused{protocol::kInvalidValue, *reason};
    return adopt(std::get<SyncSet>(std::move(set)));
}

std::optional<SyncAgent::Refused> SyncAgent::adopt(SyncSet set)
{
    if (mSet == set) return std::nullopt;
    if (const auto reason = mUses.store.save(set)) return Refused{protocol::kNotSaved, *reason};
    mSet = std::move(set);
    mSaidNowhere = false;
    applySchedule();
    return std::nullopt;
}

void SyncAgent::forgetSet(const Done& done)
{
    if (!mSet) return done(std::nullopt);
    mForgets.push_back(done);
    if (!passRuns()) return forgetNow();
    abortSync();
    mForgetDeadline = mUses.runLoop.after(seconds(kLongestForgetSeconds), [this] {
        answerForgets(Refused{protocol::kNotForgotten, "the running sync does not end"});
    });
}

void SyncAgent::forgetNow()
{
    // The set last: as long as it is there, the call can be made again.
    auto reason = mUses.engine.forget();
    if (!reason) reason = mMatters.forget();
    if (!reason) reason = mUses.store.remove();
    if (reason) return answerForgets(Refused{protocol::kNotForgotten, *reason});
    DebugLog(1, "set: forgotten");
    mSet.reset();
    applySchedule();
    serveNext();
    answerForgets(std::nullopt);
}

void SyncAgent::answerForgets(const std::optional<Refused>& refused)
{
    mForgetDeadline.invalidate();
    for (const auto& done : std::exchange(mForgets, {}))
        done(refused);
}

void SyncAgent::applySchedule()
{
    BackgroundSchedule::Settings settings;
    if (mSchedules && mSet && !mEnded) {
        settings = {mSet->isAutomaticallySyncing, mSet->automaticSyncInterval, mSet->autoSyncOnFileSystemModification,
                    mSet->nextSyncTime};
    }
    mSchedule.configure(settings);
    applyWatch();
}

void SyncAgent::applyWatch()
{
    const bool wanted =
        mSchedules && mSet && !mEnded && mSet->isAutomaticallySyncing && mSet->autoSyncOnFileSystemModification;
    if (wanted ? mWatchedFor == mSet->local : !mWatchedFor) return;
    mWatchedFor.reset();
    mUses.watcher.stop();
    mChanges.clear();
    if (!wanted) return;
    // A set that is refused has nothing to watch; the next pass says so.
    auto jobs = jobsOf(*mSet);
    if (std::holds_alternative<Refusal>(jobs)) return;
    mWatchedFor = mSet->local;
    mUses.watcher.watch(std::get<std::vector<Job>>(std::move(jobs)),
                        [this](const HomeChanges& changes) { homeChanged(changes); });
}

void SyncAgent::homeChanged(const HomeChanges& changes)
{
    if (changes.isMore || mSchedule.knowsOfChange()) return mSchedule.homeChanged();
    mChanges.insert(changes.paths.begin(), changes.paths.end());
    // A pass writes here itself: what of it was its own shows when it has recorded its work.
    if (!passRuns() && !mLook) mLook = mUses.runLoop.after(seconds(0), [this] { lookAtChanges(); });
}

void SyncAgent::lookAtChanges()
{
    mLook.invalidate();
    if (passRuns() || mChanges.empty()) return;
    auto end = mChanges.begin();
    std::advance(end, static_cast<std::ptrdiff_t>(std::min(mChanges.size(), kChangesAtOnce)));
    const std::set<std::string> some(mChanges.begin(), end);
    if (!mUses.engine.isAsAgreed(some)) {
        mChanges.clear();
        return mSchedule.homeChanged();
    }
    mChanges.erase(mChanges.begin(), end);
    // The bus is served between.
    if (!mChanges.empty()) mLook = mUses.runLoop.after(seconds(0.01), [this] { lookAtChanges(); });
}

std::variant<std::uint64_t, SyncAgent::Refused> SyncAgent::startSync()
{
    if (mEnded) return ending();
    if (!mSet || !mForgets.empty()) return Refused{protocol::kNoSyncSet, "there is no sync set"};
    const bool waits = passRuns() && mCause == Cause::Person && mPending == Pending::None && !mWindowWait;
    if (passRuns() && !waits) return Refused{protocol::kPassIsRunning, "the homes are being synced already"};
    ++mSerial;
    if (waits) {
        mPending = Pending::Wanted;
        send();
    } else {
        startPass(requestFor(*mSet), Cause::Request);
    }
    return mSerial;
}

void SyncAgent::runInBackground()
{
    if (mEnded || !mSet || passRuns()) return;
    const NetworkHome home{mSet->remoteHomePath, mSet->remoteHomeXMLSpec, mSet->mountSuffixPath};
    if (!home.isKnown()) {
        if (!std::exchange(mSaidNowhere, true)) {
            DebugLog(0, "schedule: nothing says where the network home is, so that there are no background passes");
        }
        return;
    }
    mSet->nextSyncTime = mSchedule.nextTime();
    if (const auto reason = mUses.store.save(*mSet)) {
        DebugLog(0, "schedule: next time not saved reason=\"%s\"", reason->c_str());
    }
    ++mSerial;
    startPass(requestFor(*mSet), Cause::Background);
}

void SyncAgent::startPass(Request wanted, Cause cause)
{
    constexpr const char* kCauses[] = {"request", "background", "person"};
    mPassStart = mUses.runLoop.now();
    mCause = cause;
    mHasAsked = cause == Cause::Person;
    if (cause != Cause::Person) mLastResult = kPassSucceeded;
    mProgress = Progress{};
    mProgress.state = PassState::Starting;
    mSchedule.passStarted();
    mLook.invalidate();
    mRecount.invalidate();
    mHeartbeat = mUses.runLoop.every(seconds(kHeartbeatSeconds), [this] { send(); });
    DebugLog(1, "pass: start serial=%llu cause=%s", static_cast<unsigned long long>(mSerial),
             kCauses[static_cast<int>(cause)]);
    send();
    if (const auto* refused = std::get_if<Refusal>(&wanted)) {
        PassResult result;
        result.report.result = refused->code;
        result.report.reason = refused->reason;
        mJobs.clear();
        // Later, so that who asked has the serial before the pass ends.
        mRefusal = mUses.runLoop.after(seconds(0), [this, result] { passEnded(result); });
        return;
    }
    auto& request = std::get<PassRequest>(wanted);
    if (cause == Cause::Background) request.occasion = Occasion::Background;
    mJobs = request.jobs;
    mUses.engine.start(
        std::move(request), [this](const Progress& progress) { passProgressed(progress); },
        [this](const OpenMatters& fresh) { passMet(fresh); }, [this](const PassResult& result) { passEnded(result); });
}

void SyncAgent::abortSync()
{
    if (!passRuns()) return;
    if (mPending == Pending::Wanted) mPending = Pending::Aborted;
    mHasAsked = true;
    mUses.engine.stop();
}

void SyncAgent::passProgressed(const Progress& progress)
{
    // Idle is said once the result can be read.
    if (!passRuns() || progress.state == PassState::Idle) return;
    mProgress = progress;
    const auto gap = seconds(kShortestStatusGapSeconds);
    if (progress.state != mSentState || !mSentTime || mUses.runLoop.now() - *mSentTime >= gap) send();
}

void SyncAgent::passMet(const OpenMatters& fresh)
{
    if (!passRuns()) return;
    mMatters.add(fresh);
    if (mHasAsked || !mMatters.needsDialog(fresh, mJobs)) return;
    mHasAsked = true;
    if (mUses.conflictsApp.state() == ConflictsApp::State::Absent) mUses.conflictsApp.show(false);
}

void SyncAgent::passEnded(const PassResult& result)
{
    const auto& report = result.report;
    const bool aborted = report.result == kPassAborted;
    mLastSucceeded = report.result == kPassSucceeded || aborted;
    mHeartbeat.invalidate();
    DebugLog(
        mLastSucceeded ? 1 : 0,
        "pass: end serial=%llu result=%d reason=\"%s\" created=%llu updated=%llu deleted=%llu renamed=%llu "
        "bytes=%llu conflicts=%zu errors=%zu seconds=%.1f",
        static_cast<unsigned long long>(mSerial), report.result, report.reason.c_str(),
        static_cast<unsigned long long>(report.counts.created), static_cast<unsigned long long>(report.counts.updated),
        static_cast<unsigned long long>(report.counts.deleted), static_cast<unsigned long long>(report.counts.renamed),
        static_cast<unsigned long long>(report.counts.bytes), report.conflicts.size(), report.errors.size(),
        platform::Seconds(mUses.runLoop.now() - mPassStart).count());

    mMatters.take(mUses.engine.openMatters());
    if (!result.computers.empty()) mMatters.takeComputers(result.computers);
    if (mCause == Cause::Person) {
        personTaskEnded(result);
        if (mPending != Pending::None) return startPending();
    } else {
        mLastResult = report.result;
        mLastReason = report.reason;
    }
    mProgress.state = aborted ? PassState::Aborted : PassState::Finished;
    mProgress.jobStatus = report.jobStatus;
    mProgress.percent.reset();
    mProgress.currentPath.clear();
    send();

    const bool asks = mCause != Cause::Person && !aborted && !mEnded &&
                      mMatters.needsDialog({report.conflicts, report.errors}, mJobs);
    if (asks && mUses.conflictsApp.state() == ConflictsApp::State::Absent) mUses.conflictsApp.show(false);
    if (mUses.conflictsApp.state() != ConflictsApp::State::Starting || mEnded) return becomeIdle();
    // Who waits for the pass's end asks next whether the window is there.
    mWindowWait = mUses.runLoop.after(seconds(kLongestWindowStartSeconds), [this] { becomeIdle(); });
}

void SyncAgent::personTaskEnded(const PassResult& result)
{
    roamer::Array beside;
    for (const auto& [path, fresh] : result.beside) {
        beside.emplace_back(Dictionary{{protocol::kPath, bytesOf(path)}, {protocol::kNewPath, bytesOf(fresh)}});
    }
    if (const auto answer = std::exchange(mAnswer, nullptr)) {
        answer(Dictionary{{protocol::kResult, result.report.result},
                          {protocol::kReason, result.report.reason},
                          {protocol::kBeside, std::move(beside)}});
    }
}

/// The pass that was asked for while a person's task ran.
void SyncAgent::startPending()
{
    const bool isAborted = std::exchange(mPending, Pending::None) == Pending::Aborted;
    if (isAborted) return startPass(Refusal{kPassAborted, "the sync was stopped"}, Cause::Request);
    if (mEnded || !mSet) return startPass(Refusal{kPassAborted, "the sync engine is about to end"}, Cause::Request);
    startPass(requestFor(*mSet), Cause::Request);
}

void SyncAgent::becomeIdle()
{
    mWindowWait.invalidate();
    mProgress = Progress{};
    mJobs.clear();
    recount();
    send();
    mSchedule.passEnded(mLastSucceeded);
    if (!mChanges.empty()) mLook = mUses.runLoop.after(seconds(kLookDelaySeconds), [this] { lookAtChanges(); });
    if (!mForgets.empty()) forgetNow();
    if (mEnded) return mEnded();
    serveNext();
}

void SyncAgent::appChanged()
{
    if (mWindowWait && mUses.conflictsApp.state() != ConflictsApp::State::Starting) return becomeIdle();
    send();
}

void SyncAgent::recount()
{
    const auto before = std::pair(mMatters.conflicts(), mMatters.errors());
    mMatters.take(mUses.engine.openMatters());
    const auto now = std::pair(mMatters.conflicts(), mMatters.errors());
    if (now.first + now.second == 0) {
        mRecount.invalidate();
    } else if (!mRecount && !mEnded) {
        mRecount = mUses.runLoop.every(seconds(kRecountSeconds), [this] { recount(); });
    }
    if (!passRuns() && now != before) send();
}

Dictionary SyncAgent::info()
{
    if (!passRuns()) mMatters.take(mUses.engine.openMatters());
    return agent::describe(status());
}

Dictionary SyncAgent::matters()
{
    if (!passRuns()) mMatters.take(mUses.engine.openMatters());
    return mMatters.describe();
}

void SyncAgent::serve(PersonTask task, Answer answer)
{
    mWaiting.push_back({std::move(task), std::move(answer)});
    serveNext();
}

void SyncAgent::serveNext()
{
    while (!mWaiting.empty() && !passRuns()) {
        auto next = std::move(mWaiting.front());
        mWaiting.pop_front();
        if (mEnded || !mSet) {
            next.answer(mEnded ? ending() : Refused{protocol::kNoSyncSet, "there is no sync set"});
            continue;
        }
        ++mSerial;
        mAnswer = std::move(next.answer);
        startPass(requestFor(next.task, *mSet), Cause::Person);
    }
}

std::optional<SyncAgent::Refused> SyncAgent::setAside(const std::set<Matter>& matters, bool aside)
{
    if (!passRuns()) mMatters.take(mUses.engine.openMatters());
    const auto reason = mMatters.setAside(matters, aside);
    send();
    if (reason) return Refused{protocol::kNotSaved, *reason};
    return std::nullopt;
}

Status SyncAgent::status() const
{
    Status status{mProgress, mMatters.conflicts(), mMatters.errors(), false, mLastResult, mLastReason};
    status.uiAppIsRunning = mUses.conflictsApp.state() == ConflictsApp::State::Shown;
    if (mCause == Cause::Person) status.lastResult = kPassSucceeded; // told to the person
    // A pass decides old conflicts anew: until it has, none is known to be left.
    const bool knows = mCause == Cause::Person || !passRuns() || mProgress.state >= PassState::Finished;
    if (!knows) status.conflicts = status.errors = 0;
    return status;
}

void SyncAgent::send()
{
    mSentState = mProgress.state;
    mSentTime = mUses.runLoop.now();
    if (mListener) mListener(mSerial, agent::describe(status()));
}

void SyncAgent::end(std::function<void()> ended)
{
    if (mEnded) return;
    mEnded = std::move(ended);
    applySchedule();
    mRecount.invalidate();
    mUses.conflictsApp.end();
    if (!passRuns()) {
        serveNext();
        return mEnded();
    }
    if (mWindowWait) return becomeIdle();
    // A refused pass ends by itself, before anything else happens.
    abortSync();
}

} // namespace braid::agent
