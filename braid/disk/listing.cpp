#include "listing.h"

#include <algorithm>
#include <cerrno>
#include <condition_variable>
#include <deque>
#include <mutex>
#include <thread>

#include "calls.h"
#include "seam.h"
#include "system.h"

namespace braid
{

bool neverSyncs(std::string_view name)
{
    return name == ".Braid" || name == ".vexlc" || name.starts_with(".fstemp");
}

Listing listFolder(int root, std::uint64_t device, const std::string& path)
{
    Listing listing;
    const auto fail = [&](int code) {
        listing.problem = Problem{code, "list the folder", path};
        listing.items.clear();
        return std::move(listing);
    };

    auto folder = disk::openFolder(root, path);
    if (!folder) return fail(folder.problem().code);
    if (int code = seam::ask(seam::Operation::List, folder->number(), std::string{nameOf(path)}.c_str()))
        return fail(code);
    std::vector<std::string> names;
    if (disk::system().listNames(folder->number(), names) < 0) return fail(errno);
    listing.items.reserve(names.size());
    for (std::string& name : names) {
        if (neverSyncs(name)) {
            listing.hasOwnNames = true;
        } else {
            listing.items.push_back({std::move(name), {}, 0});
        }
    }
    std::ranges::sort(listing.items, {}, &Listing::Item::name);
    for (Listing::Item& item : listing.items) {
        const auto stat = disk::statAt(folder->number(), item.name.c_str());
        if (!stat) {
            item.error = stat.problem().code;
            continue;
        }
        item.stat = *stat;
        if (item.stat.kind == Kind::Folder && item.stat.device != device) item.stat.kind = Kind::Other;
    }
    // Deleted since it was listed: as if it had not been there.
    std::erase_if(listing.items,
                  [](const Listing::Item& item) { return item.error == 0 && item.stat.kind == Kind::Absent; });
    return listing;
}

struct ListingPool::Shared {
    std::mutex mutex;
    std::condition_variable_any wake;
    std::deque<std::packaged_task<Listing()>> waiting;
    std::vector<std::jthread> threads; // last: joined first

    void work(const std::stop_token& stop)
    {
        while (true) {
            std::packaged_task<Listing()> task;
            {
                std::unique_lock lock{mutex};
                if (!wake.wait(lock, stop, [&] { return !waiting.empty(); })) return;
                task = std::move(waiting.front());
                waiting.pop_front();
            }
            task();
        }
    }
};

ListingPool::ListingPool(unsigned threads) : mShared(std::make_unique<Shared>())
{
    for (unsigned i = 0; i < threads && disk::system().isConcurrent(); ++i) {
        mShared->threads.emplace_back([this](const std::stop_token& stop) { mShared->work(stop); });
    }
}

ListingPool::~ListingPool() = default;

std::future<Listing> ListingPool::request(int root, std::uint64_t device, std::string path)
{
    std::packaged_task<Listing()> task{
        [root, device, path = std::move(path)] { return listFolder(root, device, path); }};
    auto future = task.get_future();
    if (mShared->threads.empty()) {
        task();
        return future;
    }
    {
        const std::lock_guard lock{mShared->mutex};
        mShared->waiting.push_back(std::move(task));
    }
    mShared->wake.notify_one();
    return future;
}

} // namespace braid
