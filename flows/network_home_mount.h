#pragma once

#include <array>
#include <atomic>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "platform/mount_service.h"
#include "platform/run_loop.h"
#include "platform/threads.h"
#include "platform/window_system.h"
#include "sync/sync_runner.h"
#include "ui/progress_texts.h"
#include "ui/shared_state.h"
#include "util/lobby_notify.h"

namespace roamer
{

inline constexpr std::int32_t kMountInProgress = 1;
inline constexpr std::int32_t kMountUserCancelled = -128;
/// Of a flow that finds no network home on the share and cannot make one.
inline constexpr std::int32_t kHomeNotWriteable = -61;
/// Stands for an error 1 of the one who mounts, which would read as "in progress", and for a mount that no thread could
/// be had for.
inline constexpr std::int32_t kMountFailed = 65;
/// Bits that belong to the mount service and the login session manager.
inline constexpr std::uint32_t kMountFlags = 0x13248;

/// A mount point with its terminating zero.
inline constexpr std::size_t kMountPointSize = 1024;

/// What the latest mount came to: kMountInProgress, 0, kMountUserCancelled or an error. A final status is stored after
/// the mount point, with release order: who reads it with acquire order may read gMountPoint.
extern std::atomic<std::int32_t> gMountStatus;
extern std::array<char, kMountPointSize> gMountPoint;

/// Mounts the share of the network home and waits for it on the main thread, with the progress window alive. Main
/// thread only.
class NetworkHomeMount
{
public:
    /// Borrows everything. `lobby` is also used on the worker thread, so it and what it works with live as long as the
    /// process.
    NetworkHomeMount(SharedState& state, ProgressTexts& texts, SyncRunner& runner, platform::MountService& mounts,
                     platform::Threads& threads, LobbyNotify& lobby, platform::WindowSystem& windows,
                     platform::RunLoop& runLoop);

    /// 0 with `mountPoint` set, kMountUserCancelled (also when the process is to end), or the error of the mount;
    /// `mountPoint` is null unless the share was mounted. `async` asks the mount service with name and password; else
    /// the login session manager is asked, who knows the credentials of the login, and a stop in the window only shows.
    /// A null URL is nothing to mount: 0 without a mount point. The progress window comes up after 2 seconds, at once
    /// while Option is held. There is no time limit but the service's own.
    std::int32_t waitForMount(const std::optional<std::string>& url, bool async, std::int32_t syncType, bool closeable,
                              bool allowStop, const std::optional<std::string>& userName,
                              const std::optional<std::string>& userPassword, std::optional<std::string>& mountPoint);

private:
    struct Request;
    struct Wait;

    std::int32_t startMount(Wait& wait, const std::optional<std::string>& userPassword);
    void waitForOutcome(Wait& wait);
    void showEarlyProgress(const Request& request);
    void showMounting(const Request& request);
    void showCancelled(const Request& request);
    void cancelRequest(Wait& wait);
    bool stopWasPressed() const;

    SharedState& mState;
    ProgressTexts& mTexts;
    SyncRunner& mRunner;
    platform::MountService& mMounts;
    platform::Threads& mThreads;
    LobbyNotify& mLobby;
    platform::WindowSystem& mWindows;
    platform::RunLoop& mRunLoop;
};

} // namespace roamer
