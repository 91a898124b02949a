#pragma once

#include <cstdint>
#include <functional>
#include <optional>
#include <set>
#include <string>

#include "pass_engine.h"
#include "platform/run_loop.h"

namespace braid::agent
{

/// Ends passes whose server has stopped answering, as far as everybody else is concerned.
///
/// A pass that makes no progress is no reason: large files and slow disks take their time. The server is asked besides,
/// and when it leaves that unanswered too, the pass is told as failed (ETIMEDOUT), or as stopped where that was asked
/// for. Its thread still waits for the server. Until it comes back, every other pass fails at once. A pass that is
/// stopped while its share is being mounted has touched no home yet and is told as stopped at once; the next one begins
/// when the mount has come back.
class WatchedPassEngine final : public PassEngine
{
public:
    /// Asks the server of a network home; calls `answered` when it does answer, inside this call or later.
    using Ask = std::function<void(const std::string& networkHome, std::function<void()> answered)>;
    /// Where the running pass finds the network home; "" when it is not known (yet).
    using WhichHome = std::function<std::string()>;

    /// Borrows the first two.
    WatchedPassEngine(PassEngine& engine, platform::RunLoop& runLoop, WhichHome whichHome, Ask ask);

    void start(PassRequest request, OnProgress onProgress, OnMatters onMatters, OnEnd onEnd) override;
    void stop() override;
    OpenMatters openMatters() override { return mEngine.openMatters(); }
    bool isAsAgreed(const std::set<std::string>& paths) override { return mEngine.isAsAgreed(paths); }
    std::optional<std::string> forget() override;

    /// Whether a pass that was told as ended still waits for its server. The wrapped engine cannot be destroyed then.
    bool isStuck() const { return mIsStuck; }

private:
    using Time = platform::RunLoop::Clock::time_point;
    struct Start {
        PassRequest request;
        OnProgress onProgress;
        OnMatters onMatters;
        OnEnd onEnd;
    };

    void begin(Start start);
    void look();
    void giveUp(const PassResult& result);
    void ended(const PassResult& result);

    PassEngine& mEngine;
    platform::RunLoop& mRunLoop;
    WhichHome mWhichHome;
    Ask mAsk;

    OnEnd mOnEnd; ///< Of the running pass; empty once it was told.
    Progress mProgress;
    Time mLastSign;              ///< When it last got further.
    std::optional<Time> mAsked;  ///< Set: a question has no answer yet.
    std::uint64_t mQuestion = 0; ///< The answer to an earlier one than this comes too late to mean anything.
    bool mIsStopped = false;
    bool mIsStuck = false;
    bool mIsMounting = false;   ///< Stuck, but not at a home.
    std::optional<Start> mNext; ///< For when it is not any more.
    platform::Timer mTimer;
    platform::Timer mSoon;
};

} // namespace braid::agent
