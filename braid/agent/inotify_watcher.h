#pragma once

#include <filesystem>
#include <functional>
#include <thread>
#include <vector>

#include "pass_engine.h"
#include "threaded_pass_engine.h"

namespace braid::agent
{

/// Watches the folders of the local home that some job covers, from a thread of its own.
///
/// Past kMaxWatches folders or the kernel's own limit nothing is watched, which is said once; passes by the clock still
/// see what changes.
class InotifyWatcher final : public HomeWatcher
{
public:
    static constexpr std::size_t kMaxWatches = 65'536;

    InotifyWatcher(std::filesystem::path home, PostToMain post);
    ~InotifyWatcher() override;

    void watch(std::vector<Job> jobs, std::function<void(const HomeChanges&)> changed) override;
    void stop() override;

private:
    std::filesystem::path mHome;
    PostToMain mPost;
    int mWake;               ///< An eventfd that ends the thread's waiting, or -1.
    bool mHasSaidSo = false; ///< The thread's; one runs at a time.
    std::jthread mThread;
};

} // namespace braid::agent
