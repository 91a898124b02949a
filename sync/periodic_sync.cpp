#include "periodic_sync.h"

#include <algorithm>
#include <chrono>

#include "home/preference_keys.h"
#include "lists/sync_type.h"
#include "platform/failure.h"
#include "util/debug_log.h"

namespace roamer
{

namespace
{

constexpr double kDefaultIntervalSeconds = 1200.0;
constexpr double kShortestIntervalSeconds = 60.0;
/// Who wants syncs more often than this wants them on changes too.
constexpr double kOnModificationBelowSeconds = 1200.0;
constexpr double kShortestDelaySeconds = 2.0;
/// A date further away does not fit the clock's type.
constexpr double kLongestDelaySeconds = 100.0 * 365.0 * 86400.0;

double intervalSeconds(double wanted)
{
    if (!(wanted > 0.0)) return kDefaultIntervalSeconds;
    return std::max(wanted, kShortestIntervalSeconds);
}

std::string dateText(const std::optional<Date>& date)
{
    return date ? PropertyList(*date).description() : "(null)";
}

} // namespace

PreferenceSyncTimes readPreferenceSyncTimes(RoamerPreferences& preferences, const char* operation)
{
    const PreferenceSyncTimes times{.lastSync = preferences.getRoamerValue<Date>(kRoamerTime, std::nullopt),
                                    .networkNewer =
                                        preferences.getRoamerValue<Date>(kNetworkHomeNewerTime, std::nullopt)};
    DebugLog(2, "Pavo.%s: lastPrefSyncTime=\"%s\", lastPrefSyncFailedTime=\"%s\"", operation,
             dateText(times.lastSync).c_str(), dateText(times.networkNewer).c_str());
    return times;
}

PeriodicSync::PeriodicSync(SyncSets& sets, SyncLists& lists, SyncOptions& options, RoamerPreferences& preferences,
                           platform::RunLoop& runLoop)
    : mSets(sets), mLists(lists), mOptions(options), mPreferences(preferences), mRunLoop(runLoop)
{
}

std::shared_ptr<platform::PhdSyncSet>
PeriodicSync::getPeriodicSyncSet(std::int32_t syncType, std::int32_t prefSyncType,
                                 const std::optional<std::string>& networkHomeMountpoint, bool create,
                                 bool alwaysSyncPrefs)
{
    const auto times = readPreferenceSyncTimes(mPreferences, "getPeriodicSyncSet");
    SyncJob preferenceJob;
    if (times.allowPreferenceJob(alwaysSyncPrefs)) preferenceJob = jobFor(prefSyncType, networkHomeMountpoint);
    const SyncJob backgroundJob = jobFor(syncType, networkHomeMountpoint);
    const bool willSyncPrefs = preferenceJob.isDue();
    const bool willSyncPeriodic = backgroundJob.isDue();
    const int totalJobs = willSyncPrefs + willSyncPeriodic;
    DebugLog(2, "Pavo.getPeriodicSyncSet: totalJobs=%d, willSyncPrefs=%d, willSyncPeriodic=%d", totalJobs,
             willSyncPrefs, willSyncPeriodic);
    if (totalJobs == 0) DebugLog(2, "Pavo.getPeriodicSyncSet: nothing to sync");
    const bool configure = create && totalJobs > 0;

    auto set = mSets.getSyncSet(configure);
    if (configure && set) setJobs(*set, preferenceJob, backgroundJob);
    DebugLog(2, "Pavo.getPeriodicSyncSet: done");
    return set;
}

SyncJob PeriodicSync::jobFor(std::int32_t syncType, const std::optional<std::string>& networkHomeMountpoint)
{
    SyncJob job;
    if (mOptions.getShouldSyncOverride(syncType)) {
        job.inclusion = mLists.getSyncLists(syncType, networkHomeMountpoint, &job.exclusion);
    }
    return job;
}

void PeriodicSync::setJobs(platform::PhdSyncSet& set, const SyncJob& preferenceJob, const SyncJob& backgroundJob)
{
    SyncJobs jobs;
    try {
        DebugLog(2, "Pavo.getPeriodicSyncSet: localPeer = phdSyncSet.localPeer;");
        auto& local = set.localPeer();
        DebugLog(2, "Pavo.getPeriodicSyncSet: remotePeer = phdSyncSet.remotePeer;");
        auto& remote = set.remotePeer();

        const auto append = [&](const SyncJob& job, std::int32_t type, int resolution) {
            if (!job.isDue()) return;
            jobs.append(job, mOptions.getOptionsForSyncType(
                                 type, local, remote, mOptions.getConflictResolutionOverride(type, resolution),
                                 mOptions.getSuppressErrorsOverride(type, false), jobs.nextIndex()));
        };
        append(preferenceJob, kNowAllPrefSync, kCopyLocalAbort);
        append(backgroundJob, kNowPeriodicSync, kShowConflictDialogs);

        DebugLog(2, "Pavo.getPeriodicSyncSet: localPeer.inclusionSets = remotePeer.inclusionSets = %s;",
                 description(jobs.inclusionSets).c_str());
        local.setInclusionSets(jobs.inclusionSets);
        remote.setInclusionSets(jobs.inclusionSets);
        DebugLog(2, "Pavo.getPeriodicSyncSet: localPeer.exclusionSets = remotePeer.exclusionSets = %s;",
                 description(jobs.exclusionSets).c_str());
        local.setExclusionSets(jobs.exclusionSets);
        remote.setExclusionSets(jobs.exclusionSets);
        DebugLog(2, "Pavo.getPeriodicSyncSet: phdSyncSet.defaultSyncOptions = %s;", description(jobs.options).c_str());
        set.setDefaultSyncOptions(jobs.options);
    } catch (const platform::Failure& failure) {
        DebugLog(1, "Pavo.getPeriodicSyncSet: caught exception: name=\"%s\", reason=\"%s\"", logText(failure.name()),
                 logText(failure.reason()));
    }
}

long PeriodicSync::setupPeriodicSync(bool turnOn, double nextUpdateMultiplier,
                                     const std::optional<std::string>& networkHomeMountpoint)
{
    DebugLog(2, "Pavo.setupPeriodicSync - turnOn = %d ", turnOn);
    const auto set = getPeriodicSyncSet(kPeriodicSync, kPeriodicAllPrefSync, networkHomeMountpoint, turnOn, false);
    long result = 0;
    if (turnOn && !set) {
        result = -1;
    } else if (turnOn) {
        try {
            schedule(*set, nextUpdateMultiplier);
        } catch (const platform::Failure& failure) {
            DebugLog(1, "Pavo.setupPeriodicSync caught exception: name=\"%s\", reason=\"%s\"", logText(failure.name()),
                     logText(failure.reason()));
            result = -1;
        }
    }
    DebugLog(2, "Pavo.setupPeriodicSync done");
    return result;
}

void PeriodicSync::schedule(platform::PhdSyncSet& set, double nextUpdateMultiplier)
{
    const double wanted = mPreferences.getRoamerValue<double>(kSyncPeriodSeconds, kDefaultIntervalSeconds)
                              .value_or(kDefaultIntervalSeconds);
    const double interval = intervalSeconds(wanted);
    const bool onModification = wanted < kOnModificationBelowSeconds;
    const std::chrono::duration<double> delay(
        std::clamp(nextUpdateMultiplier * interval, kShortestDelaySeconds, kLongestDelaySeconds));
    const Date next = mRunLoop.date() + std::chrono::duration_cast<Date::duration>(delay);

    DebugLog(2, "Pavo.setupPeriodicSync: phdSyncSet.automaticSyncInterval = %f;", interval);
    set.setAutomaticSyncInterval(interval);
    DebugLog(2, "Pavo.setupPeriodicSync: phdSyncSet.autoSyncOnFileSystemModification = %d;", onModification);
    set.setAutoSyncOnFileSystemModification(onModification);
    DebugLog(2, "Pavo.setupPeriodicSync: phdSyncSet.nextSyncTime = %s;", dateText(next).c_str());
    set.setNextSyncTime(next);
    DebugLog(2, "Pavo.setupPeriodicSync: phdSyncSet.isAutomaticallySyncing = TRUE");
    set.setIsAutomaticallySyncing(true);
}

} // namespace roamer
