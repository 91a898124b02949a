#include "network_home_mount.h"

#include <algorithm>
#include <cstring>
#include <mutex>
#include <utility>
#include <vector>

#include "lists/sync_type.h"
#include "util/debug_log.h"
#include "util/format_text.h"
#include "util/report.h"
#include "util/url_text.h"

namespace roamer
{

std::atomic<std::int32_t> gMountStatus{0};
std::array<char, kMountPointSize> gMountPoint{};

namespace
{

constexpr double kSliceSeconds = 0.1;
constexpr double kShowProgressAfterSeconds = 2.0;
constexpr double kPauseSeconds = 2.0;

/// What one mount comes to. Shared between the wait and whoever mounts, so that an answer that comes late, or while a
/// command inside the wait mounts something of its own, still has its place.
struct MountOutcome {
    std::atomic<std::int32_t> status{kMountInProgress};
    std::array<char, kMountPointSize> point{}; ///< Written before the final status, read after it.
};

// gMountStatus and gMountPoint follow the mount that was started last. Nothing here needs tearing down: a worker thread
// may still answer while the process ends.
std::mutex gPublishing;
const MountOutcome* gLatest = nullptr; ///< Only ever compared.

void copyText(std::array<char, kMountPointSize>& to, const std::string& text)
{
    const auto length = std::min(text.size(), to.size() - 1);
    std::memcpy(to.data(), text.data(), length);
    to.at(length) = '\0';
}

std::shared_ptr<MountOutcome> beginOutcome()
{
    auto outcome = std::make_shared<MountOutcome>();
    const std::lock_guard lock(gPublishing);
    gLatest = outcome.get();
    gMountStatus.store(kMountInProgress, std::memory_order_relaxed);
    gMountPoint.front() = '\0';
    return outcome;
}

/// Stores the end of a mount, unless it has been stored: the first answer counts.
void finish(const std::shared_ptr<MountOutcome>& outcome, std::int32_t status, const std::string& point)
{
    const std::lock_guard lock(gPublishing);
    if (outcome->status.load(std::memory_order_relaxed) != kMountInProgress) return;
    copyText(outcome->point, point);
    outcome->status.store(status, std::memory_order_release);
    if (gLatest != outcome.get()) return;
    gMountPoint = outcome->point;
    gMountStatus.store(status, std::memory_order_release);
}

/// An error that cannot be taken for "in progress".
std::int32_t storableStatus(std::int32_t status)
{
    return status == kMountInProgress ? kMountFailed : status;
}

std::string description(const std::vector<std::string>* shares)
{
    if (shares == nullptr) return "(null)";
    return PropertyList(Array(shares->begin(), shares->end())).description();
}

void MountServerAsyncCallback(const std::shared_ptr<MountOutcome>& outcome, std::int32_t status,
                              const std::vector<std::string>* mountedShares)
{
    const bool mounted = status == 0 && mountedShares != nullptr && !mountedShares->empty();
    finish(outcome, storableStatus(status), mounted ? mountedShares->front() : "");
    DebugLog(2,
             "Pavo.MountServerAsyncCallback() status = %d, mountedShares=\"%s\", gMountStatus=%d, gMountStatus=\"%s\"",
             status, description(mountedShares).c_str(), outcome->status.load(), outcome->point.data());
}

/// The body of the worker thread: blocks it until the login session manager has answered.
void doLbNotifyMountServerWithCurrentAuthenticationInThread(LobbyNotify& lobby, const std::string& url,
                                                            const std::shared_ptr<MountOutcome>& outcome)
{
    constexpr const char* kName = "Pavo.doLbNotifyMountServerWithCurrentAuthenticationInThread";
    DebugLog(2, "%s: starting", kName);
    std::int32_t error = 0;
    const auto path = lobby.LbNotifyWithData(url, std::nullopt, static_cast<std::int32_t>(kMountFlags), error);
    const auto shownURL = urlWithoutUserInfo(url);
    std::array<char, kMountPointSize> point{};
    if (error == 0) copyText(point, path.value_or(""));
    if (error != 0) {
        DebugLog(1, "%s: LbNotifyMountServerWithCurrentAuthentication:\"%s\" status = %ld", kName, shownURL.c_str(),
                 static_cast<long>(error));
    } else {
        DebugLog(2, "%s: LbNotifyMountServerWithCurrentAuthentication:\"%s\" networkHomeMountpoint = \"%s\"", kName,
                 shownURL.c_str(), point.data());
    }
    finish(outcome, storableStatus(error), point.data());
    DebugLog(2, "%s: status = %d, gMountStatus=%d, gMountPoint=\"%s\"", kName, error, outcome->status.load(),
             outcome->point.data());
}

} // namespace

/// What the caller asked for.
struct NetworkHomeMount::Request {
    const std::optional<std::string>& url;
    std::string urlForLog;
    bool async;
    std::int32_t syncType;
    bool closeable;
    bool allowStop;
    const std::optional<std::string>& userName;
};

struct NetworkHomeMount::Wait {
    const Request& request;
    std::shared_ptr<MountOutcome> outcome;
    platform::MountService::RequestRef requestRef = 0;
    bool cancelSeen = false;

    bool isInProgress() const { return outcome->status.load(std::memory_order_acquire) == kMountInProgress; }
};

NetworkHomeMount::NetworkHomeMount(SharedState& state, ProgressTexts& texts, SyncRunner& runner,
                                   platform::MountService& mounts, platform::Threads& threads, LobbyNotify& lobby,
                                   platform::WindowSystem& windows, platform::RunLoop& runLoop)
    : mState(state), mTexts(texts), mRunner(runner), mMounts(mounts), mThreads(threads), mLobby(lobby),
      mWindows(windows), mRunLoop(runLoop)
{
}

std::int32_t NetworkHomeMount::waitForMount(const std::optional<std::string>& url, bool async, std::int32_t syncType,
                                            bool closeable, bool allowStop, const std::optional<std::string>& userName,
                                            const std::optional<std::string>& userPassword,
                                            std::optional<std::string>& mountPoint)
{
    mountPoint.reset();
    const Request request{.url = url,
                          .urlForLog = logText(urlWithoutUserInfo(url)),
                          .async = async,
                          .syncType = syncType,
                          .closeable = closeable,
                          .allowStop = allowStop,
                          .userName = userName};
    DebugLog(2, "Pavo.waitForMount:%s async:%d syncType:%s userName:%s", request.urlForLog.c_str(), async,
             syncTypeUTF8String(syncType).c_str(), logText(userName));

    if (!url || mWindows.isOptionKeyDown()) showEarlyProgress(request);
    if (!url) return 0;

    Wait wait{.request = request, .outcome = beginOutcome()};
    if (const auto error = startMount(wait, userPassword); error != 0) return error;
    waitForOutcome(wait);

    const auto status = wait.outcome->status.load(std::memory_order_acquire);
    if (status == 0) mountPoint = wait.outcome->point.data();
    return status;
}

void NetworkHomeMount::showEarlyProgress(const Request& request)
{
    showMounting(request);
    mRunner.waitTillSyncIdle(nullptr, kPauseSeconds, 0.0);
    if (!stopWasPressed()) return;
    showCancelled(request);
    mRunner.waitTillSyncIdle(nullptr, kPauseSeconds, 0.0);
}

std::int32_t NetworkHomeMount::startMount(Wait& wait, const std::optional<std::string>& userPassword)
{
    const auto& request = wait.request;
    const auto url = request.url.value_or("");
    if (!request.async) {
        const bool started = mThreads.detach([&lobby = mLobby, url, outcome = wait.outcome] {
            doLbNotifyMountServerWithCurrentAuthenticationInThread(lobby, url, outcome);
        });
        if (!started) {
            DebugLog(1, "Pavo.waitForMount:%s no thread to mount on", request.urlForLog.c_str());
            finish(wait.outcome, kMountFailed, "");
        }
        return started ? 0 : kMountFailed;
    }

    const auto started = mMounts.mountURLAsync(
        url, request.userName.value_or(""), userPassword, kMountFlags,
        [outcome = wait.outcome](std::int32_t status, const std::vector<std::string>* mountedShares) {
            MountServerAsyncCallback(outcome, status, mountedShares);
        });
    const auto line = formatText("Pavo.waitForMount:%s mountURLAsync userName:%s = %d", request.urlForLog.c_str(),
                                 logText(request.userName), started.error);
    DebugLog(2, "%s", line.c_str());
    wait.requestRef = started.request;
    if (started.error == 0) return 0;
    DebugLog(1, "%s", line.c_str());
    finish(wait.outcome, storableStatus(started.error), "");
    return storableStatus(started.error);
}

void NetworkHomeMount::waitForOutcome(Wait& wait)
{
    const auto start = mRunLoop.now();
    while (wait.isInProgress()) {
        if (mState.mProgress) mState.mProgress->runModal();
        if (mRunLoop.waitsShallEnd()) {
            // Whoever mounts without us may still do so; the share is then held by a process that is gone.
            if (wait.request.async) cancelRequest(wait);
            finish(wait.outcome, kMountUserCancelled, "");
            return;
        }
        if (!wait.cancelSeen && stopWasPressed()) {
            if (wait.request.async) cancelRequest(wait);
            showCancelled(wait.request);
            wait.cancelSeen = true;
            mRunner.waitTillSyncIdle(nullptr, kPauseSeconds, 0.0);
            continue;
        }
        if (!mState.mProgress && mRunLoop.now() - start > platform::seconds(kShowProgressAfterSeconds)) {
            showMounting(wait.request);
        }
        mRunLoop.runFor(platform::seconds(kSliceSeconds));
    }
}

void NetworkHomeMount::cancelRequest(Wait& wait)
{
    const auto error = mMounts.cancel(wait.requestRef);
    const auto line = formatText("Pavo.waitForMount:%s cancelling the mount, userName:%s = %d",
                                 wait.request.urlForLog.c_str(), logText(wait.request.userName), error);
    if (error != 0) {
        report(line);
    } else {
        DebugLog(2, "%s", line.c_str());
    }
    finish(wait.outcome, kMountUserCancelled, "");
}

void NetworkHomeMount::showMounting(const Request& request)
{
    if (!mState.mProgress) {
        mTexts.displaySyncProgress(request.syncType, 1, 1, request.closeable, !request.closeable, request.allowStop,
                                   true, mTexts.localizedText("PAVO_PROG_STATUS_MESSAGE_MOUNTING_HOME"));
    }
    const std::string noPath;
    if (mState.mProgress) mState.mProgress->updateProgress(kProgressAnimate, nullptr, &noPath, nullptr, nullptr, false);
}

void NetworkHomeMount::showCancelled(const Request& request)
{
    if (!mState.mProgress) return;
    const auto title = mTexts.getProgressTitle(request.syncType, ProgressTexts::kStateCancelling, 1, 1);
    const std::string noPath;
    mState.mProgress->updateProgress(kProgressStopAnimation, pointerTo(title), &noPath,
                                     mTexts.localizedText("PAVO_PROG_STATUS_MESSAGE_SYNC_CANCELED"), nullptr, false);
}

bool NetworkHomeMount::stopWasPressed() const
{
    return mState.mProgress && mState.mProgress->wasCancelled();
}

} // namespace roamer
