#include "staging_crew.h"

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <mutex>
#include <string>
#include <thread>

#include "braid/disk/system.h"

namespace braid
{

namespace
{

constexpr std::size_t kThreads = 2;
constexpr std::size_t kFewItems = 16; // handing them out would take longer than making them
constexpr std::chrono::milliseconds kTellEvery{50};

} // namespace

struct StagingCrew::Shared {
    std::mutex mutex;
    std::condition_variable_any changed;
    std::span<const Action> batch;
    std::vector<Result> results;
    std::size_t next = 0; // guarded by mutex, as all above
    std::size_t finished = 0;
    std::atomic<std::uint64_t> bytes; // copied and not yet told
    std::stop_token stop;
    std::vector<std::unique_ptr<Stager>> stagers;
    std::vector<std::jthread> threads; // last: joined first

    void work(Stager& stager, const std::stop_token& ending)
    {
        std::unique_lock lock{mutex};
        while (changed.wait(lock, ending, [&] { return next < batch.size(); })) {
            const std::size_t at = next++;
            const Action& action = batch[at];
            lock.unlock();
            Result result;
            if (!stop.stop_requested()) result.emplace(stager.stage(action));
            lock.lock();
            results[at] = std::move(result);
            if (++finished == batch.size()) changed.notify_all();
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
    for (const Result& result : finish()) {
        if (result && *result) discard(**result);
    }
}

void StagingCrew::start(std::span<const Action> batch)
{
    if (batch.size() < kFewItems || !disk::system().isConcurrent()) {
        for (const Action& action : batch) {
            Result& result = mShared->results.emplace_back();
            if (mBench.isStopped()) continue;
            mBench.reporter.at(action.path);
            result.emplace(mOwn.stage(action));
        }
        return;
    }
    {
        const std::lock_guard lock{mShared->mutex};
        mShared->results.resize(batch.size());
        mShared->batch = batch;
    }
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
    const auto isDone = [&] { return mShared->finished == mShared->batch.size(); };
    while (!mShared->changed.wait_for(lock, kTellEvery, isDone)) {
        const std::size_t next = mShared->next;
        const std::string path = next > 0 ? mShared->batch[next - 1].path : std::string{};
        lock.unlock();
        mBench.reporter.at(path);
        mBench.reporter.addBytes(mShared->bytes.exchange(0));
        lock.lock();
    }
    mShared->batch = {};
    mShared->finished = 0;
    mShared->next = 0;
    std::vector<Result> results = std::move(mShared->results);
    mShared->results.clear();
    lock.unlock();
    mBench.reporter.addBytes(mShared->bytes.exchange(0));
    return results;
}

} // namespace braid
