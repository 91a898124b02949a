#pragma once

#include <memory>

#include "braid/archive/archive.h"
#include "braid/archive/reserve.h"
#include "braid/disk/listing_pool.h"
#include "braid/home/home.h"
#include "braid/home/trash.h"
#include "braid/jobs/coverage.h"
#include "braid/propagate/workbench.h"
#include "braid/reconcile/plan.h"
#include "reporter.h"

namespace braid
{

/// One pass from its checks to its report. A step answers why the pass must end, or nothing.
class PassRun
{
public:
    PassRun(const PassSettings& settings, std::stop_token stop, EngineLock* held);

    PassReport run();

private:
    struct End {
        int result = kPassSucceeded;
        std::string reason;
    };
    using Stop = std::optional<End>;

    Stop runSteps();
    Stop checkHomes();
    Stop lockLocalHome();
    Stop openHomes();
    Stop prepareHomes();
    Stop openArchive();
    Stop useArchive(Outcome<std::unique_ptr<Archive>> archive);
    Stop startArchiveAfresh();
    Stop planAll();
    Stop planWithArchive();
    Stop reportPlanOnly();
    Stop carryOut();
    void readLastJobs();
    void rememberJobs();
    void forgetWhatCameBackUnseen();
    Stop recordMatters();
    Stop ended(const Problem& problem) const;
    Stop aborted() const;
    std::string markerFolder() const;
    std::vector<JobStatus> jobStatus() const;
    void fillReport();
    std::function<void(const Progress&)> listener();
    void tellMatters();

    const PassSettings& mSettings;
    std::stop_token mStop;
    EngineLock* mHeld;
    Reporter mReporter;
    Coverage mCoverage;
    std::unique_ptr<EngineLock> mLock;
    PerPeer<std::unique_ptr<Home>> mHomes;
    PerPeer<Home*> mHomePointers;
    std::unique_ptr<Archive> mArchive;
    std::optional<Reserve> mReserve; ///< Of a pass that may write.
    std::vector<Job> mLastJobs;      ///< Of the last pass, where they covered something else.
    std::optional<Coverage> mLastCoverage;
    bool mTrustsArchive = false;
    PerPeer<ListingPool> mPools;
    Plan mPlan;
    std::size_t mToldConflicts = 0;
    std::size_t mToldErrors = 0;
    PassReport mReport;
};

} // namespace braid
