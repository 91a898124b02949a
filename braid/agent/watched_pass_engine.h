#pragma once

#include <cstdint>
#include <functional>
#include <string>

#include "pass_engine.h"
#include "platform/run_loop.h"

namespace braid::agent
{

/// Ends passes whose server has stopped answering, as far as everybody else is concerned.
///
/// A pass that makes no progress is no reason: large files and slow disks take their time. The server is asked besides,
/// and when it leaves that unanswered too, again and again, the pass is told as failed (ETIMEDOUT). Its thread still
/// waits for the server. Until it comes back, every other pass fails at once.
class WatchedPassEngine final : public PassEngine
{
public:
    /// Asks the server of a network home; false when it does not answer within a few seconds.
    using Answers = std::function<bool(const std::string& networkHome)>;
    /// Where the running pass finds the network home; "" when it is not known (yet).
    using WhichHome = std::function<std::string()>;

    /// Borrows the first two.
    WatchedPassEngine(PassEngine& engine, platform::RunLoop& runLoop, WhichHome whichHome, Answers answers);

    void start(PassRequest request, OnProgress onProgress, OnMatters onMatters, OnEnd onEnd) override;
    void stop() override { mEngine.stop(); }
    OpenMatters openMatters() override { return mEngine.openMatters(); }
    bool isAsAgreed(const std::set<std::string>& paths) override { return mEngine.isAsAgreed(paths); }
    std::optional<std::string> forget() override;

    /// Whether a pass that was told as failed still waits for its server. The wrapped engine cannot be destroyed then.
    bool isStuck() const { return mIsStuck; }

private:
    void look();
    void giveUp();
    void ended(const PassResult& result);

    PassEngine& mEngine;
    platform::RunLoop& mRunLoop;
    WhichHome mWhichHome;
    Answers mAnswers;

    OnEnd mOnEnd; ///< Of the running pass; empty once it was told.
    Progress mProgress;
    platform::RunLoop::Clock::time_point mLastSign; ///< When it last got further.
    int mUnanswered = 0;
    bool mIsStuck = false;
    platform::Timer mTimer;
    platform::Timer mRefusal;
};

} // namespace braid::agent
