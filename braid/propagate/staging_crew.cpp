#include "staging_crew.h"

#include <algorithm>
#include <atomic>
#include <chrono>
#include <condition_variable>
#include <deque>
#include <mutex>
#include <string>
#include <thread>

#include "braid/disk/open_files.h"
#include "braid/disk/system.h"

namespace braid
{

namespace
{

constexpr std::size_t kThreads = 2;
constexpr std::size_t kFewItems = 16; // handing them out would take longer than making them
constexpr std::chrono::milliseconds kTellEvery{50};
constexpr std::size_t kOtherFiles = 512; // folders being listed, databases, what else the process has open

/// Of each batch so many copies may stay open until they are in place.
std::size_t openShare()
{
    constexpr std::size_t kHeld = StagingCrew::kBatches + 2; // by the crew, and of complete copies by its caller
    const std::size_t most = disk::mostOpenFiles();
    return most > kOtherFiles ? (most - kOtherFiles) / kHeld : 0;
}

} // namespace

struct StagingCrew::Shared {
    struct Batch {
        std::span<const Action> actions;
        std::vector<Result> results;
        std::size_t next = 0;
        std::size_t finished = 0;

        explicit Batch(std::span<const Action> theActions) : actions(theActions), results(theActions.size()) {}
        bool isHandedOut() const { return next == actions.size(); }
        bool isDone() const { return finished == actions.size(); }
    };

    std::mutex mutex;
    std::condition_variable_any changed;
    std::deque<Batch> batches;        ///< Guarded by the mutex.
    std::atomic<std::uint64_t> bytes; ///< Copied and not yet told.
    std::stop_token stop;
    std::size_t mayStayOpen = openShare(); ///< The first of each batch.
    std::vector<std::unique_ptr<Stager>> stagers;
    std::vector<std::jthread> threads; // last: joined first

    Batch* open()
    {
        const auto found = std::ranges::find_if_not(batches, &Batch::isHandedOut);
        return found == batches.end() ? nullptr : &*found;
    }

    void work(Stager& stager, const std::stop_token& ending)
    {
        std::unique_lock lock{mutex};
        while (changed.wait(lock, ending, [&] { return open() != nullptr; })) {
            Batch& batch = *open(); // stays where it is until all of it is done
            const std::size_t at = batch.next++;
            const Action& action = batch.actions[at];
            lock.unlock();
            Result result;
            if (!stop.stop_requested()) result.emplace(stager.stage(action, at < mayStayOpen));
            lock.lock();
            batch.results[at] = std::move(result);
            ++batch.finished;
            if (batch.isDone()) changed.notify_all();
        }
    }
};

StagingCrew::StagingCrew(Workbench& bench)
    : mBench(bench), mOwn(bench, "", [&bench](std::uint64_t bytes) { bench.reporter.addBytes(bytes); }),
      mShared(std::make_unique<Shared>())
{
    mShared->stop = bench.stop;
    for (std::size_t i = 0; i < kThreads; ++i) {
        mShared->stagers.push_back(std::make_unique<Stager>(
            bench, std::to_string(i) + "-", [shared = mShared.get()](std::uint64_t bytes) { shared->bytes += bytes; }));
    }
}

StagingCrew::~StagingCrew()
{
    discardAll();
}

void StagingCrew::discardAll()
{
    while (!mShared->batches.empty()) {
        for (const Result& result : finish()) {
            if (result && *result) discard(**result);
        }
    }
}

void StagingCrew::start(std::span<const Action> actions)
{
    Shared::Batch batch{actions};
    const bool isHandedOut = actions.size() >= kFewItems && disk::system().isConcurrent();
    if (!isHandedOut) {
        for (; batch.next < actions.size(); ++batch.next) {
            const Action& action = actions[batch.next];
            if (mBench.isStopped()) continue;
            mBench.reporter.at(action.path);
            batch.results[batch.next].emplace(mOwn.stage(action, batch.next < mShared->mayStayOpen));
        }
        batch.finished = batch.next;
    }
    {
        const std::lock_guard lock{mShared->mutex};
        mShared->batches.push_back(std::move(batch));
    }
    if (!isHandedOut) return;
    while (mShared->threads.size() < kThreads) {
        Stager& stager = *mShared->stagers[mShared->threads.size()];
        mShared->threads.emplace_back(
            [shared = mShared.get(), &stager](const std::stop_token& ending) { shared->work(stager, ending); });
    }
    mShared->changed.notify_all();
}

std::vector<StagingCrew::Result> StagingCrew::finish()
{
    std::unique_lock lock{mShared->mutex};
    const Shared::Batch& first = mShared->batches.front();
    while (!mShared->changed.wait_for(lock, kTellEvery, [&] { return first.isDone(); })) {
        const std::string path = first.next > 0 ? first.actions[first.next - 1].path : std::string{};
        lock.unlock();
        mBench.reporter.at(path);
        mBench.reporter.addBytes(mShared->bytes.exchange(0));
        lock.lock();
    }
    std::vector<Result> results = std::move(mShared->batches.front().results);
    mShared->batches.pop_front();
    lock.unlock();
    mBench.reporter.addBytes(mShared->bytes.exchange(0));
    return results;
}

} // namespace braid
