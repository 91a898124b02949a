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
    /// That may be handed out at once, so that the threads go on while the caller sees to the first of them.
    static constexpr std::size_t kBatches = 3;

    explicit StagingCrew(Workbench& bench);
    ~StagingCrew(); ///< As discardAll().
    StagingCrew(const StagingCrew&) = delete;
    StagingCrew& operator=(const StagingCrew&) = delete;

    /// The actions must outlive what came of them. Where there is little to do it is done at once.
    void start(std::span<const Action> batch);
    /// The results of the batch that was started first. Tells the reporter how far it is until the batch is done.
    std::vector<Result> finish();
    /// Waits for what is under way, and drops its copies.
    void discardAll();

    void discard(const Staged& staged) const { mOwn.discard(staged); }

private:
    struct Shared;
    Workbench& mBench;
    Stager mOwn; ///< For the caller's thread.
    std::unique_ptr<Shared> mShared;
};

} // namespace braid
