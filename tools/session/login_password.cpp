#include "login_password.h"

#include <cerrno>
#include <cstdlib>
#include <fcntl.h>
#include <functional>
#include <sys/wait.h>
#include <unistd.h>

#include "platform/linux/lobby_password.h"
#include "platform/linux/system_log.h"

namespace roamer::session
{

namespace
{

using platform::UniqueFd;

/// Does the work in a child and waits for it.
void inChild(const platform::UserEntry& user, const std::function<std::int32_t()>& work, const char* failure)
{
    const pid_t child = ::fork();
    if (child == 0) {
        // Somebody else's message bus is not where a password goes, whatever the environment says.
        if (user.uid != ::getuid()) {
            ::unsetenv("DBUS_SESSION_BUS_ADDRESS");
            ::unsetenv("XDG_RUNTIME_DIR");
        }
        if (const auto status = work(); status != 0) {
            platform::makeSystemLog("roamer-session")->error(failure + std::to_string(status));
        }
        ::_exit(0);
    }
    while (child > 0 && ::waitpid(child, nullptr, 0) < 0 && errno == EINTR) {}
}

} // namespace

UniqueFd pipeWith(const Secret& password)
{
    int ends[2];
    if (::pipe2(ends, O_CLOEXEC) != 0) return {};
    UniqueFd reading(ends[0]);
    const UniqueFd writing(ends[1]);
    // It fits into the pipe, so nobody has to read meanwhile.
    const auto bytes = password.bytes();
    const ssize_t written = bytes.empty() ? 0 : ::write(writing.get(), bytes.data(), bytes.size());
    if (written != static_cast<ssize_t>(bytes.size())) return {};
    return reading;
}

void keepPasswordForSession(const platform::UserEntry& user, const Secret& password)
{
    if (::geteuid() != 0 || password.bytes().empty()) return;
    // A child does not inherit the password's memory.
    const UniqueFd pipe = pipeWith(password);
    inChild(
        user,
        [&] {
            Secret copy;
            if (copy.readFrom(pipe.get(), [] { return false; })) return EPIPE;
            const auto bytes = copy.bytes();
            return platform::keepLoginPassword(user.uid, {reinterpret_cast<const char*>(bytes.data()), bytes.size()});
        },
        "the password was not kept for later mounts of this session: lobbyd answered ");
}

void dropPasswordOfSession(const platform::UserEntry& user)
{
    if (::geteuid() != 0) return;
    inChild(
        user, [&] { return platform::dropLoginPassword(user.uid); },
        "the password of a session that is over was not dropped: lobbyd answered ");
}

} // namespace roamer::session
