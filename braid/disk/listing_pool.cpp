#include "listing_pool.h"

#include <algorithm>
#include <atomic>
#include <chrono>
#include <condition_variable>
#include <deque>
#include <future>
#include <mutex>
#include <thread>
#include <vector>

#include "system.h"

namespace braid
{

namespace
{

using Clock = std::chrono::steady_clock;
using Nanoseconds = std::chrono::nanoseconds;

constexpr Nanoseconds kThreadForEach{300'000}; // of the time that an answer takes
constexpr Nanoseconds kFar{1'000'000};         // from here on the items of one folder are worth sharing out
constexpr std::size_t kShare = 4;              // items that are looked at by one thread in a row

/// The items of one folder, looked at by several threads.
struct SharedFolder {
    int folder = -1;
    std::span<Listing::Item> items;
    std::atomic<std::size_t> next{0};
    std::atomic<std::size_t> done{0};

    void help()
    {
        while (true) {
            const std::size_t at = next.fetch_add(kShare);
            if (at >= items.size()) return; // `items` may be gone already
            const std::size_t count = std::min(kShare, items.size() - at);
            lookAt(folder, items.subspan(at, count));
            done += count;
            done.notify_all();
        }
    }
    void waitUntilDone()
    {
        for (std::size_t seen = done; seen < items.size(); seen = done)
            done.wait(seen);
    }
};

} // namespace

struct PendingListing::Request {
    std::packaged_task<Listing()> task;
    std::future<Listing> answer;
    std::atomic<bool> isBegun{false};
    std::atomic<bool> isReady{false};

    void run()
    {
        if (isBegun.exchange(true)) return;
        task();
        isReady = true;
    }
};

bool PendingListing::isReady() const
{
    return mRequest->isReady;
}

Listing PendingListing::get()
{
    // The caller would only sleep meanwhile, and be woken for each folder.
    mRequest->run();
    return mRequest->answer.get();
}

struct ListingPool::Shared {
    struct Task {
        std::shared_ptr<PendingListing::Request> listing;
        std::shared_ptr<SharedFolder> help; // or this
    };

    std::mutex mutex;
    std::condition_variable_any wake;
    std::deque<Task> waiting;
    std::size_t idle = 0;                // guarded by mutex, as all above
    std::atomic<std::int64_t> answer{0}; // what a look at an item takes, in nanoseconds, lately
    std::vector<std::jthread> threads;   // last: joined first

    unsigned wantedThreads() const
    {
        return static_cast<unsigned>(
            std::clamp<std::int64_t>(answer / kThreadForEach.count(), 1, std::int64_t{kMostThreads}));
    }

    void work(const std::stop_token& stop)
    {
        std::unique_lock lock{mutex};
        while (true) {
            ++idle;
            const bool goesOn = wake.wait(lock, stop, [&] { return !waiting.empty(); });
            --idle;
            if (!goesOn) return;
            Task task = std::move(waiting.front());
            waiting.pop_front();
            lock.unlock();
            if (task.help) {
                task.help->help();
            } else {
                task.listing->run();
            }
            lock.lock();
        }
    }

    /// With the mutex held. More threads as long as they have something to do.
    void addThreads()
    {
        const unsigned wanted = wantedThreads();
        for (std::size_t busy = idle; busy < waiting.size() && threads.size() < wanted; ++busy) {
            threads.emplace_back([this](const std::stop_token& stop) { work(stop); });
        }
    }

    void lookAtAll(int folder, std::span<Listing::Item> items)
    {
        const auto start = Clock::now();
        if (answer < kFar.count() || items.size() <= kShare) {
            lookAt(folder, items);
        } else {
            lookTogether(folder, items);
            return; // what a single look takes cannot be told from this
        }
        if (items.empty()) return;
        const std::int64_t each = Nanoseconds{Clock::now() - start}.count() / static_cast<std::int64_t>(items.size());
        answer = answer == 0 ? each : (answer * 7 + each) / 8;
    }

    void lookTogether(int folder, std::span<Listing::Item> items)
    {
        const auto shared = std::make_shared<SharedFolder>();
        shared->folder = folder;
        shared->items = items;
        {
            const std::lock_guard lock{mutex};
            const std::size_t helpers = std::min<std::size_t>(items.size() / kShare, wantedThreads() - 1U);
            for (std::size_t i = 0; i < helpers; ++i)
                waiting.push_front({nullptr, shared});
            addThreads();
        }
        wake.notify_all();
        shared->help();
        shared->waitUntilDone();
    }
};

ListingPool::ListingPool() : mShared(std::make_unique<Shared>()) {}

ListingPool::~ListingPool() = default;

PendingListing ListingPool::request(int root, std::uint64_t device, std::string path)
{
    PendingListing pending;
    pending.mRequest = std::make_shared<PendingListing::Request>();
    pending.mRequest->task =
        std::packaged_task<Listing()>{[shared = mShared.get(), root, device, path = std::move(path)] {
            return listFolder(
                root, device, path,
                [shared](int folder, std::span<Listing::Item> items) { shared->lookAtAll(folder, items); }, true);
        }};
    pending.mRequest->answer = pending.mRequest->task.get_future();
    if (!disk::system().isConcurrent()) {
        pending.mRequest->run();
        return pending;
    }
    {
        const std::lock_guard lock{mShared->mutex};
        mShared->waiting.push_front({pending.mRequest, nullptr});
        mShared->addThreads();
    }
    mShared->wake.notify_one();
    return pending;
}

} // namespace braid
