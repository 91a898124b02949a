#pragma once

#include <filesystem>
#include <functional>
#include <memory>
#include <mutex>
#include <string>
#include <thread>

#include "pass_engine.h"

namespace braid::agent
{

/// Has a task run by the main run loop soon; safe from any thread.
using PostToMain = std::function<void(std::function<void()>)>;

/// Passes on a thread of their own.
class ThreadedPassEngine final : public PassEngine
{
public:
    /// Borrows the shares.
    ThreadedPassEngine(std::filesystem::path localHome, Shares& shares, PostToMain post);
    /// Waits for a running pass, which is asked to end.
    ~ThreadedPassEngine() override;

    void start(PassRequest request, OnProgress onProgress, OnMatters onMatters, OnEnd onEnd) override;
    void stop() override;
    OpenMatters openMatters() override;
    bool isAsAgreed(const std::set<std::string>& paths) override;
    std::optional<std::string> forget() override;

    /// Where the running or last pass finds the network home, without the system root in front; "" before it knows.
    std::string networkHome() const;

private:
    void setNetworkHome(const std::string& path);

    std::filesystem::path mLocalHome;
    Shares& mShares;
    PostToMain mPost;
    mutable std::mutex mHomeMutex;
    std::string mNetworkHome;
    std::jthread mThread; ///< Last: it uses the others until it has ended.
};

} // namespace braid::agent
