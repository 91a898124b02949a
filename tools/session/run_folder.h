#pragma once

#include <optional>
#include <string>
#include <variant>

#include "platform/linux/unique_fd.h"
#include "platform/linux/user_database.h"

namespace roamer::session
{

/// Where the logins and logouts under way keep what they need: /run/roamer/session for the superuser, a folder in
/// XDG_RUNTIME_DIR for everybody else, and below the system root where one was given. Only its owner can change it.
class RunFolder
{
public:
    /// In words why there is none.
    static std::variant<RunFolder, std::string> open();

    /// The lock that makes logins and logouts of one user wait for each other; held while the descriptor is open.
    /// Nothing when somebody else holds it. Raises nothing; an unusable lock file counts as held.
    std::optional<platform::UniqueFd> tryLock(const platform::UserEntry& user) const;

    /// An empty folder that is the user's own, for the sockets of a message bus; what an earlier login left there is
    /// gone. Only while the lock is held. "" when it cannot be made.
    std::string makeBusFolder(const platform::UserEntry& user) const;
    void removeBusFolder(const platform::UserEntry& user) const;

private:
    RunFolder(std::string path, platform::UniqueFd descriptor) : mPath(std::move(path)), mFolder(std::move(descriptor))
    {
    }

    std::string mPath;
    platform::UniqueFd mFolder;
};

} // namespace roamer::session
