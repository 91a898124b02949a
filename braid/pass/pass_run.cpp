#include "pass_run.h"

#include <algorithm>
#include <cerrno>
#include <iterator>
#include <ranges>
#include <utility>

#include "braid/disk/calls.h"
#include "braid/jobs/areas.h"
#include "braid/propagate/propagator.h"
#include "braid/propagate/respeller.h"
#include "braid/propagate/stager.h"
#include "braid/reconcile/arrange.h"
#include "braid/reconcile/walk.h"
#include "foretell.h"

namespace braid
{

namespace
{

struct JobEndWords {
    JobEnd end;
    const char* name;
    const char* reason;
};

constexpr JobEndWords kJobEndWords[] = {
    {JobEnd::None, "", ""},
    {JobEnd::WriteToReadOnlyPeer, "AttemptToWriteToReadOnlyPeerException",
     "The job would have had to change a home that it may only read. It changed nothing."},
    {JobEnd::Conflict, "AbortedOnConflictException", "The job met a conflict and changed nothing."},
};

std::uint64_t bytesToCopy(const Plan& plan)
{
    std::uint64_t bytes = 0;
    plan.items.each([&](ActionList::Index, const Action& action) {
        const Stat& source = action.stats[otherPeer(action.target)];
        if (action.verb == Action::Verb::Copy && source.kind == Kind::File) {
            bytes += static_cast<std::uint64_t>(source.size);
        }
    });
    return bytes;
}

Version versionOf(const Stat& stat)
{
    return {stat.kind, stat.size, stat.mtime};
}

Conflict conflictOf(const ConflictRecord& record)
{
    const auto& [conflict, stats] = record;
    return {conflict.path, conflict.kind, versionOf(stats.local), versionOf(stats.network)};
}

} // namespace

PassRun::PassRun(const PassSettings& settings, std::stop_token stop, EngineLock* held)
    : mSettings(settings), mStop(std::move(stop)), mHeld(held), mReporter(listener(), settings.localHome.native()),
      mCoverage(settings.jobs)
{
}

std::function<void(const Progress&)> PassRun::listener()
{
    if (!mSettings.onMatters) return mSettings.onProgress;
    return [this](const Progress& progress) {
        if (progress.state == PassState::Processing) tellMatters();
        if (mSettings.onProgress) mSettings.onProgress(progress);
    };
}

void PassRun::tellMatters()
{
    OpenMatters fresh;
    std::ranges::transform(mPlan.conflicts | std::views::drop(std::exchange(mToldConflicts, mPlan.conflicts.size())),
                           std::back_inserter(fresh.conflicts), conflictOf);
    std::ranges::copy(mPlan.errors | std::views::drop(std::exchange(mToldErrors, mPlan.errors.size())),
                      std::back_inserter(fresh.errors));
    if (!fresh.conflicts.empty() || !fresh.errors.empty()) mSettings.onMatters(fresh);
}

PassReport PassRun::run()
{
    mReporter.enter(PassState::Starting);
    const Stop stop = runSteps();
    if (mArchive && mArchive->isDamaged() && !mSettings.dryRun) {
        mArchive = nullptr;
        Archive::openAfresh(markerFolder(), true); // the next pass would only fail the same way
    }
    mArchive = nullptr;
    if (mReserve) mReserve->hold();
    if (stop) {
        mReport.result = stop->result;
        mReport.reason = stop->reason;
    }
    fillReport();
    mReporter.setJobStatus(mReport.jobStatus);
    mReporter.setMatters(mReport.conflicts.size(), mReport.errors.size());
    mReporter.enter(mReport.result == kPassAborted ? PassState::Aborted : PassState::Finished);
    return std::move(mReport);
}

PassRun::Stop PassRun::runSteps()
{
    if (auto stop = checkHomes()) return stop;
    if (auto stop = lockLocalHome()) return stop;
    mReporter.enter(PassState::Updating);
    if (auto stop = openHomes()) return stop;
    if (auto stop = prepareHomes()) return stop;
    if (auto stop = openArchive()) return stop;
    mReporter.enter(PassState::Checking);
    if (auto stop = planAll()) return stop;
    if (mSettings.dryRun) return reportPlanOnly();
    mReporter.enter(PassState::Processing);
    const Stop stop = carryOut();
    if (!stop) rememberJobs();
    mReporter.setJobStatus(jobStatus());
    mReporter.setMatters(mPlan.conflicts.size(), mPlan.errors.size());
    mReporter.enter(PassState::Cleanup);
    if (auto problem = recordMatters()) return stop ? stop : problem;
    return stop;
}

PassRun::Stop PassRun::checkHomes()
{
    if (auto reason = whyNotHomes(mSettings.localHome, mSettings.networkHome)) return End{kPassRefused, *reason};
    return std::nullopt;
}

PassRun::Stop PassRun::lockLocalHome()
{
    if (mHeld) return std::nullopt;
    const auto lockFile = disk::statPath((mSettings.localHome / ".Braid" / "lock").native());
    if (mSettings.dryRun && (!lockFile || !lockFile->exists())) {
        return std::nullopt; // a dry run leaves no trace, and without a lock file there is no other engine
    }
    auto taken = EngineLock::take(mSettings.localHome, mSettings.dryRun);
    if (auto* lock = std::get_if<std::unique_ptr<EngineLock>>(&taken)) {
        mLock = std::move(*lock);
        return std::nullopt;
    }
    if (const auto* holder = std::get_if<EngineLock::Holder>(&taken)) {
        return End{EBUSY, holder->words() + " is syncing this home already."};
    }
    return End{kPassRefused, std::get<std::string>(taken)};
}

PassRun::Stop PassRun::ended(const Problem& problem) const
{
    return End{problem.code == 0 ? EIO : problem.code, problem.words() + " (" + problem.path + ")"};
}

PassRun::Stop PassRun::aborted() const
{
    return End{kPassAborted, "The pass was stopped."};
}

PassRun::Stop PassRun::openHomes()
{
    for (const Peer peer : kPeers) {
        auto home = Home::open(peer, peer == Peer::Local ? mSettings.localHome : mSettings.networkHome);
        if (!home) return ended(home.problem());
        mHomes[peer] = std::move(*home);
        mHomePointers[peer] = mHomes[peer].get();
    }
    return std::nullopt;
}

PassRun::Stop PassRun::prepareHomes()
{
    if (mSettings.dryRun) {
        for (const Peer peer : kPeers)
            mHomes[peer]->learnFolding(false);
        return std::nullopt;
    }
    Home& local = *mHomes.local;
    Home& network = *mHomes.network;
    if (auto problem = local.prepare("")) return ended(*problem);
    // A home that was copied whole brings the other's identity along; it needs one of its own.
    if (auto problem = network.prepare(local.marker()->id)) return ended(*problem);
    for (const Peer peer : kPeers) {
        Home& home = *mHomes[peer];
        if (auto problem = home.openStaging(local.marker()->id)) return ended(*problem);
        Trash trash{home};
        if (auto problem = Respeller::recover(home)) return ended(*problem);
        if (auto problem = Stager::recover(home, trash)) return ended(*problem);
        trash.expire();
        home.learnFolding(true);
    }
    return std::nullopt;
}

PassRun::Stop PassRun::openArchive()
{
    if (!mSettings.dryRun) mReserve.emplace(mHomes.local->markerFolder());
    if (mReserve && mReserve->isNeeded()) mReserve->release();
    if (mReserve && mReserve->isExhausted()) return ended({ENOSPC, "use the archive", markerFolder()});
    Stop stop = useArchive(Archive::open(markerFolder(), !mSettings.dryRun));
    // Also a quota, of which the disk does not tell.
    if (stop && isFull(stop->result) && mReserve && mReserve->release()) {
        mArchive = nullptr;
        stop = useArchive(Archive::open(markerFolder(), true));
    }
    if (stop && mArchive && mArchive->isDamaged()) stop = startArchiveAfresh();
    if (!stop && mReserve) mReserve->giveToLog();
    return stop;
}

std::string PassRun::markerFolder() const
{
    return (mSettings.localHome / ".Braid").native();
}

PassRun::Stop PassRun::useArchive(Outcome<std::unique_ptr<Archive>> archive)
{
    if (!archive) return ended(archive.problem());
    mArchive = std::move(*archive);
    const auto& local = mHomes.local->marker();
    const auto& network = mHomes.network->marker();
    if (!local || !network || local->id == network->id) return std::nullopt; // a dry run before the first pass

    const PairRecord pair = mArchive->usePair(local->id, network->id);
    if (auto problem = mHomes.network->learnGenerationOf(local->id)) return ended(*problem);
    const PerPeer<std::uint64_t> now{mHomes.local->ownGeneration(), mHomes.network->ownGeneration()};
    // An older number than the last one seen: the home came back from a backup, and what the archive says of it is
    // about a later state.
    const bool isOlder = now.local < pair.generation.local || now.network < pair.generation.network;
    mTrustsArchive = pair.number != 0 && !isOlder;
    if (isOlder && !mSettings.dryRun) {
        mArchive->begin();
        mArchive->clearEntries();
        mArchive->rememberGenerations(now);
        mArchive->commit();
    }
    if (auto failure = mArchive->failure()) return ended(*failure);
    return std::nullopt;
}

PassRun::Stop PassRun::planAll()
{
    Stop stop = planWithArchive();
    if (!stop || !mArchive->isDamaged()) return stop;
    if (auto problem = startArchiveAfresh()) return problem;
    return planWithArchive();
}

/// As long as nothing was written: goes on as if the homes met for the first time.
PassRun::Stop PassRun::startArchiveAfresh()
{
    mArchive = nullptr;
    return useArchive(Archive::openAfresh(markerFolder(), !mSettings.dryRun));
}

PassRun::Stop PassRun::planWithArchive()
{
    readLastJobs();
    Reading reading;
    reading.canWait = !mSettings.dryRun;
    WalkContext context{
        .homes = mHomePointers,
        .archive = *mArchive,
        .coverage = mCoverage,
        .pools = mPools,
        .reading = reading,
        .stop = mStop,
        .trustsArchive = mTrustsArchive,
        .onFolder = [this](const std::string& folder) { mReporter.at(folder); },
        .lastCoverage = mLastCoverage ? &*mLastCoverage : nullptr,
    };
    mArchive->beginReading();
    mPlan = planPass(context);
    mArchive->endReading();
    if (mStop.stop_requested()) return aborted();
    if (auto failure = mArchive->failure()) return ended(*failure);
    if (mPlan.lostHome) return ended(*mPlan.lostHome);
    arrange(context, mPlan, mSettings.allowMassDeletion);
    if (auto failure = mArchive->failure()) return ended(*failure);
    mReporter.setMatters(mPlan.conflicts.size(), mPlan.errors.size());
    mReporter.setTotals(mPlan.count(), bytesToCopy(mPlan));
    return std::nullopt;
}

PassRun::Stop PassRun::reportPlanOnly()
{
    Counts& counts = mReport.counts;
    counts.created = mPlan.folders.count();
    counts.deleted = mPlan.makeRoom.count() + mPlan.deletions.count();
    counts.updated = mPlan.restamps.count();
    counts.renamed = mPlan.countRenamed();
    const auto countWrite = [&](ActionList::Index, const Action& action) {
        if (action.verb == Action::Verb::Move) {
            ++counts.renamed;
        } else {
            ++(action.stats[action.target].exists() ? counts.updated : counts.created);
        }
    };
    mPlan.items.each(countWrite);
    mPlan.links.each(countWrite);
    counts.bytes = bytesToCopy(mPlan);
    mReport.planned = foretell(mPlan, mCoverage, mHomePointers);
    mReport.unrecorded = unknownToArchive(mPlan, *mArchive, mTrustsArchive);
    if (auto failure = mArchive->failure()) return ended(*failure);
    return std::nullopt;
}

PassRun::Stop PassRun::carryOut()
{
    Workbench bench{mHomePointers, *mArchive, mCoverage, mReporter, mStop, mPlan};
    const auto problem = propagate(bench);
    mReport.counts = bench.counts;
    if (problem) return ended(*problem);
    if (mStop.stop_requested()) return aborted();
    return std::nullopt;
}

void PassRun::readLastJobs()
{
    mLastCoverage.reset();
    const auto areas = mArchive->lastAreas(mSettings.occasion);
    if (!areas || *areas == areasOf(mSettings.jobs)) return;
    mLastJobs = jobsFrom(*areas);
    mLastCoverage.emplace(mLastJobs); // without jobs it left out everything
}

/// After a pass that has forgotten what it found without trust.
void PassRun::rememberJobs()
{
    const bool isHeldBack =
        std::ranges::any_of(mPlan.conflicts, [](const ConflictRecord& record) { return record.conflict.path == "."; });
    if (isHeldBack || mPlan.hasWithdrawnForgets || mSettings.occasion == Occasion::Aside) return;
    const std::string areas = areasOf(mSettings.jobs);
    if (areas == mArchive->lastAreas(mSettings.occasion)) return;
    mArchive->begin();
    forgetWhatCameBackUnseen();
    mArchive->rememberAreas(mSettings.occasion, areas);
    mArchive->commit();
}

/// What could not be looked at cannot be told from what has changed while no job had to do with it.
void PassRun::forgetWhatCameBackUnseen()
{
    if (!mLastCoverage) return;
    std::vector<std::string> left{mPlan.unseen.begin(), mPlan.unseen.end()};
    while (!left.empty()) {
        const std::string path = std::move(left.back());
        left.pop_back();
        if (mCoverage.jobOfPath(path) && !mLastCoverage->jobOfPath(path)) mArchive->forget(path);
        for (const NamedEntry& below : mArchive->children(path))
            left.push_back(joinPath(path, below.name));
    }
}

PassRun::Stop PassRun::recordMatters()
{
    const auto wasLookedAt = [&](std::string_view path) {
        if (path == ".") return true;
        for (const std::string& folder : mPlan.unseen) {
            if (liesBelow(path, folder)) return false;
        }
        return mCoverage.jobOfPath(path).has_value() || mPlan.unseen.contains(std::string{path});
    };
    mArchive->begin();
    mArchive->rememberNetworkHome(std::filesystem::absolute(mSettings.networkHome).native());
    mArchive->replaceMatters(wasLookedAt, mPlan.conflicts, mPlan.errors);
    mArchive->commit();
    if (auto failure = mArchive->failure()) return ended(*failure);
    return std::nullopt;
}

std::vector<JobStatus> PassRun::jobStatus() const
{
    std::vector<JobStatus> status;
    for (const JobEnd end : mPlan.jobEnds) {
        const auto words = std::ranges::find(kJobEndWords, end, &JobEndWords::end);
        status.push_back({words->name, words->reason});
    }
    return status;
}

void PassRun::fillReport()
{
    mReport.jobStatus = jobStatus();
    std::ranges::transform(mPlan.conflicts, std::back_inserter(mReport.conflicts), conflictOf);
    mReport.errors = std::move(mPlan.errors);
    mReport.skipped = std::move(mPlan.skipped);
    std::ranges::sort(mReport.conflicts, {}, &Conflict::path);
    std::ranges::sort(mReport.errors, {}, &ItemError::path);
    std::ranges::sort(mReport.skipped);
}

} // namespace braid
