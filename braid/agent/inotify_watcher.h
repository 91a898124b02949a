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
/// Best effort: past kMaxWatches folders or the kernel's own limit the rest goes unwatched, which is logged; passes by
/// the clock still see what changes there.
class InotifyWatcher final : public HomeWatcher
{
public:
    static constexpr std::size_t kMaxWatches = 65'536;

    InotifyWatcher(std::filesystem::path home, PostToMain post);
    ~InotifyWatcher() override;

    void watch(std::vector<Job> jobs, std::function<void()> changed) override;
    void stop() override;

private:
    std::filesystem::path mHome;
    PostToMain mPost;
    int mWake; ///< An eventfd that ends the thread's waiting, or -1.
    std::jthread mThread;
};

} // namespace braid::agent
