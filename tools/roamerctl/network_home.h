#pragma once

#include <memory>
#include <optional>
#include <string>
#include <variant>

#include "account.h"
#include "platform/linux/share_holds.h"
#include "platform/mount_service.h"
#include "platform/run_loop.h"

namespace roamer::ctl
{

/// Whether shares of this kind are opened with a password.
inline bool needsPassword(const std::string& url)
{
    return !url.starts_with("file:") && !url.starts_with("nfs:");
}

/// For good: what happens in a person's homes happens with that person's rights. False when that is not allowed.
[[nodiscard]] bool becomeUserOf(const Account& account);

/// An account's network home, reached the way a login reaches it. What was mounted for it is given up with this
/// process.
class NetworkHome
{
public:
    /// Mounts the share and waits for it; in words why it cannot be had. To be called as the account's user.
    static std::variant<std::unique_ptr<NetworkHome>, std::string> reach(Account& account,
                                                                         const std::optional<std::string>& password);

    const std::optional<std::string>& mountPoint() const { return mMountPoint; }
    const std::string& path() const { return mPath; }

    /// Makes the folder if it is not there, then a file in it, and takes the file away again. In words why that does
    /// not work.
    std::optional<std::string> whyNotWritable(Account& account) const;

private:
    NetworkHome();

    std::unique_ptr<platform::RunLoop> mRunLoop;
    platform::ShareHolds mHolds;
    std::unique_ptr<platform::MountService> mMounts;
    std::optional<std::string> mMountPoint;
    std::string mPath;
};

} // namespace roamer::ctl
