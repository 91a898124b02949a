#include "watched_pass_engine.h"

#include <cerrno>
#include <tuple>
#include <utility>

#include "util/debug_log.h"

namespace braid::agent
{

namespace
{

using platform::seconds;

constexpr double kLookSeconds = 2;
constexpr double kQuietSeconds = 5;
constexpr int kMostUnanswered = 2;

/// Passes tell where they are ten times a second, also when they stand still.
bool isFurther(const Progress& before, const Progress& now)
{
    const auto place = [](const Progress& progress) {
        return std::tie(progress.state, progress.totalItems, progress.completedItems, progress.completedBytes,
                        progress.currentPath);
    };
    return place(before) != place(now);
}

PassResult silentServer(const std::string& home)
{
    PassResult result;
    result.report.result = ETIMEDOUT;
    result.report.reason = "the server of \"" + home + "\" does not answer";
    return result;
}

} // namespace

WatchedPassEngine::WatchedPassEngine(PassEngine& engine, platform::RunLoop& runLoop, WhichHome whichHome,
                                     Answers answers)
    : mEngine(engine), mRunLoop(runLoop), mWhichHome(std::move(whichHome)), mAnswers(std::move(answers))
{
}

void WatchedPassEngine::start(PassRequest request, OnProgress onProgress, OnMatters onMatters, OnEnd onEnd)
{
    if (mIsStuck) {
        mRefusal = mRunLoop.after({}, [this, onEnd = std::move(onEnd)] { onEnd(silentServer(mWhichHome())); });
        return;
    }
    mOnEnd = std::move(onEnd);
    mLastSign = mRunLoop.now();
    mProgress = {};
    mUnanswered = 0;
    mTimer = mRunLoop.every(seconds(kLookSeconds), [this] { look(); });
    mEngine.start(
        std::move(request),
        [this, onProgress = std::move(onProgress)](const Progress& progress) {
            if (isFurther(mProgress, progress)) mLastSign = mRunLoop.now();
            mProgress = progress;
            if (!mIsStuck) onProgress(progress);
        },
        [this, onMatters = std::move(onMatters)](const OpenMatters& fresh) {
            if (!mIsStuck) onMatters(fresh);
        },
        [this](const PassResult& result) { ended(result); });
}

void WatchedPassEngine::look()
{
    const auto home = mWhichHome();
    if (mRunLoop.now() - mLastSign < seconds(kQuietSeconds) || home.empty() || mAnswers(home)) {
        mUnanswered = 0;
    } else if (++mUnanswered == kMostUnanswered) {
        giveUp();
    }
}

void WatchedPassEngine::giveUp()
{
    const auto result = silentServer(mWhichHome());
    roamer::DebugLog(0, "pass: %s, going on without it", result.report.reason.c_str());
    mTimer.invalidate();
    mIsStuck = true;
    mEngine.stop(); // for when the server is back
    std::exchange(mOnEnd, nullptr)(result);
}

void WatchedPassEngine::ended(const PassResult& result)
{
    mTimer.invalidate();
    if (std::exchange(mIsStuck, false)) {
        roamer::DebugLog(1, "pass: the server is back, the pass that was given up has ended");
    } else {
        std::exchange(mOnEnd, nullptr)(result);
    }
}

std::optional<std::string> WatchedPassEngine::forget()
{
    if (mIsStuck) return "The running sync waits for a server that does not answer.";
    return mEngine.forget();
}

} // namespace braid::agent
