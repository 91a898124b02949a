#include "network_home.h"

#include <cerrno>
#include <chrono>
#include <cstdlib>
#include <cstring>
#include <grp.h>
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

std::string whyNotMounted(std::int32_t status)
{
    const auto words = session::wordsOf(status);
    return "the network home cannot be reached: " + words.why + "; " + words.help;
}

} // namespace

bool becomeUserOf(const Account& account)
{
    const auto& record = account.record();
    if (getuid() == record.uid()) return true;
    return initgroups(account.name().c_str(), record.gid()) == 0 && setgid(record.gid()) == 0 &&
           setuid(record.uid()) == 0;
}

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
        if (started.error != 0) return whyNotMounted(started.error);
        const auto deadline = home->mRunLoop->now() + kMountPatience;
        while (!status && home->mRunLoop->now() < deadline)
            home->mRunLoop->runFor(kSlice);
        if (!status) {
            home->mMounts->cancel(started.request);
            return whyNotMounted(ETIMEDOUT);
        }
        if (*status != 0) return whyNotMounted(*status);
    }
    const auto path = account.homes.getNetworkHomePath(home->mMountPoint);
    if (!path)
        return std::string(
            "the account's record names no network home; \"roamerctl unenroll\" and \"enroll\" renew it");
    home->mPath = *path;
    return home;
}

std::optional<std::string> NetworkHome::whyNotWritable(Account& account) const
{
    if (!account.homes.makeDirectoryPath(mPath)) {
        const auto url = account.homes.getOriginalUserHomeURL();
        const std::string disk = url && url->starts_with("file:") ? "connect the disk that it lies on, or " : "";
        return "the folder " + mPath + " is missing and " + account.name() + " may not make it, or may not open it; " +
               disk + "make it and give it to " + account.name();
    }
    std::string probe = platform::systemPath(mPath) + "/.roamer-check-XXXXXX";
    const int file = mkstemp(probe.data());
    if (file < 0) {
        const std::string reason = std::strerror(errno);
        return "the folder " + mPath + " cannot be written: " + reason + "; see to its owner and its mode";
    }
    close(file);
    unlink(probe.c_str());
    return std::nullopt;
}

} // namespace roamer::ctl
