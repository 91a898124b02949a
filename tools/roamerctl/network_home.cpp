#include "network_home.h"

#include <cerrno>
#include <chrono>
#include <cstdlib>
#include <cstring>
#include <unistd.h>

#include "platform/linux/mount_service.h"
#include "platform/linux/run_loop.h"
#include "platform/system_root.h"
#include "session/status_words.h"

namespace roamer::ctl
{

namespace
{

constexpr std::chrono::seconds kMountPatience{60};
constexpr std::chrono::milliseconds kSlice{100};

} // namespace

NetworkHome::NetworkHome() : mRunLoop(platform::makeRunLoop()), mMounts(platform::makeMountService(*mRunLoop, mHolds))
{
}

std::variant<std::unique_ptr<NetworkHome>, std::string> NetworkHome::reach(Account& account,
                                                                           const std::optional<std::string>& password)
{
    std::unique_ptr<NetworkHome> home(new NetworkHome);
    if (const auto url = account.homes.getOriginalUserHomeURL()) {
        std::optional<std::int32_t> status;
        const auto started = home->mMounts->mountURLAsync(*url, account.name(), password, 0,
                                                          [&](std::int32_t result, const auto* shares) {
                                                              status = result;
                                                              if (shares != nullptr && !shares->empty())
                                                                  home->mMountPoint = shares->front();
                                                          });
        if (started.error != 0) return session::verdictOf(started.error, false).words;
        const auto deadline = home->mRunLoop->now() + kMountPatience;
        while (!status && home->mRunLoop->now() < deadline)
            home->mRunLoop->runFor(kSlice);
        if (!status) {
            home->mMounts->cancel(started.request);
            return std::string("the server does not answer");
        }
        if (*status != 0) return session::verdictOf(*status, false).words;
    }
    const auto path = account.homes.getNetworkHomePath(home->mMountPoint);
    if (!path) return std::string("the account's record names no network home");
    home->mPath = *path;
    return home;
}

std::optional<std::string> NetworkHome::whyNotWritable(Account& account) const
{
    if (!account.homes.makeDirectoryPath(mPath)) return mPath + " is missing and cannot be made, or cannot be opened";
    std::string probe = platform::systemPath(mPath) + "/.roamer-check-XXXXXX";
    const int file = mkstemp(probe.data());
    if (file < 0) return mPath + " cannot be written: " + std::strerror(errno);
    close(file);
    unlink(probe.c_str());
    return std::nullopt;
}

} // namespace roamer::ctl
