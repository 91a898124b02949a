#pragma once

#include <memory>
#include <optional>
#include <span>
#include <vector>

#include "stager.h"

namespace braid
{

/// Makes the copies of a batch on a few threads, while the caller does something else: making a file is mostly waiting
/// for the file system, on the caller's processor or on the server's. Results come in the order of the batch.
class StagingCrew
{
public:
    /// Absent: nobody began with it, because a stop was asked for.
    using Result = std::optional<Outcome<Staged>>;

    explicit StagingCrew(Workbench& bench);
    ~StagingCrew(); ///< Waits for what is under way, and drops its copies.
    StagingCrew(const StagingCrew&) = delete;
    StagingCrew& operator=(const StagingCrew&) = delete;

    /// One batch at a time; the actions must outlive what came of them. Where there is little to do it is done at once.
    void start(std::span<const Action> batch);
    /// Tells the reporter how far it is until the batch is done.
    std::vector<Result> finish();

    void discard(const Staged& staged) const { mOwn.discard(staged); }

private:
    struct Shared;
    Workbench& mBench;
    Stager mOwn; ///< For the caller's thread.
    std::unique_ptr<Shared> mShared;
};

} // namespace braid
