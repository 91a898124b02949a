#include "watched_pass_engine.h"

#include <algorithm>
#include <cerrno>
#include <tuple>
#include <utility>

#include "util/debug_log.h"

namespace braid::agent
{

namespace
{

using platform::seconds;

constexpr double kLookSeconds = 1;
constexpr double kQuietSeconds = 5;
constexpr double kPatienceSeconds = 6;
// Who asked a pass to stop has plans: it obeys at once, or it stands at the server.
constexpr double kPatienceWithStoppedSeconds = 2;

/// Passes tell where they are ten times a second, also when they stand still.
bool isFurther(const Progress& before, const Progress& now)
{
    const auto place = [](const Progress& progress) {
        return std::tie(progress.state, progress.totalItems, progress.completedItems, progress.completedBytes,
                        progress.currentPath);
    };
    return place(before) != place(now);
}

PassResult ended(int code, std::string reason)
{
    PassResult result;
    result.report.result = code;
    result.report.reason = std::move(reason);
    return result;
}

PassResult silentServer(const std::string& home, bool isStopped = false)
{
    return ended(isStopped ? kPassAborted : ETIMEDOUT, "the server of \"" + home + "\" does not answer");
}

PassResult stopped()
{
    return ended(kPassAborted, "the sync was stopped");
}

} // namespace

WatchedPassEngine::WatchedPassEngine(PassEngine& engine, platform::RunLoop& runLoop, WhichHome whichHome, Ask ask)
    : mEngine(engine), mRunLoop(runLoop), mWhichHome(std::move(whichHome)), mAsk(std::move(ask))
{
}

void WatchedPassEngine::start(PassRequest request, OnProgress onProgress, OnMatters onMatters, OnEnd onEnd)
{
    if (mIsStuck && !mIsMounting) {
        mSoon = mRunLoop.after({}, [this, onEnd = std::move(onEnd)] { onEnd(silentServer(mWhichHome())); });
        return;
    }
    Start wanted{std::move(request), std::move(onProgress), std::move(onMatters), std::move(onEnd)};
    if (mIsStuck) {
        mNext = std::move(wanted);
    } else {
        begin(std::move(wanted));
    }
}

void WatchedPassEngine::begin(Start start)
{
    mOnEnd = std::move(start.onEnd);
    mLastSign = mRunLoop.now();
    mProgress = {};
    mAsked.reset();
    mIsStopped = false;
    mTimer = mRunLoop.every(seconds(kLookSeconds), [this] { look(); });
    mEngine.start(
        std::move(start.request),
        [this, onProgress = std::move(start.onProgress)](const Progress& progress) {
            if (isFurther(mProgress, progress)) mLastSign = mRunLoop.now();
            mProgress = progress;
            if (!mIsStuck) onProgress(progress);
        },
        [this, onMatters = std::move(start.onMatters)](const OpenMatters& fresh) {
            if (!mIsStuck) onMatters(fresh);
        },
        [this](const PassResult& result) { ended(result); });
}

void WatchedPassEngine::stop()
{
    mEngine.stop();
    mIsStopped = true;
    if (auto next = std::exchange(mNext, std::nullopt)) {
        mSoon = mRunLoop.after({}, [onEnd = std::move(next->onEnd)] { onEnd(stopped()); });
    } else if (mOnEnd) {
        mSoon = mRunLoop.after({}, [this] { look(); });
    }
}

void WatchedPassEngine::look()
{
    const auto now = mRunLoop.now();
    const auto home = mWhichHome();
    if (mIsStopped && home.empty()) {
        mIsMounting = true;
        return giveUp(stopped());
    }
    const bool isQuiet = mIsStopped || now - mLastSign >= seconds(kQuietSeconds);
    if (!isQuiet || home.empty()) return;
    if (mAsked) {
        // A sign of life after the question is as good as its answer.
        const auto patience = seconds(mIsStopped ? kPatienceWithStoppedSeconds : kPatienceSeconds);
        if (now - std::max(*mAsked, mLastSign) >= patience) giveUp(silentServer(home, mIsStopped));
        return;
    }
    mAsked = now;
    mAsk(home, [this, question = ++mQuestion] {
        if (question == mQuestion) mAsked.reset();
    });
}

void WatchedPassEngine::giveUp(const PassResult& result)
{
    roamer::DebugLog(mIsStopped ? 1 : 0, "pass: %s, going on without it", result.report.reason.c_str());
    mTimer.invalidate();
    mSoon.invalidate();
    mIsStuck = true;
    mEngine.stop(); // for when the server is back
    std::exchange(mOnEnd, nullptr)(result);
}

void WatchedPassEngine::ended(const PassResult& result)
{
    mTimer.invalidate();
    if (mOnEnd) mSoon.invalidate();
    if (std::exchange(mIsStuck, false)) {
        roamer::DebugLog(1, "pass: the one that was given up has ended");
        mIsMounting = false;
        if (auto next = std::exchange(mNext, std::nullopt)) begin(*std::move(next));
    } else {
        std::exchange(mOnEnd, nullptr)(result);
    }
}

std::optional<std::string> WatchedPassEngine::forget()
{
    if (mIsStuck && !mIsMounting) return "The running sync waits for a server that does not answer.";
    return mEngine.forget();
}

} // namespace braid::agent
