#include "display.h"

#include <algorithm>
#include <cstdlib>
#include <string>
#include <string_view>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>
#include <utility>
#include <xcb/xcb.h>

#include "platform/linux/unique_fd.h"

namespace windows
{

namespace
{

constexpr unsigned kAnswerSeconds = 10;

std::string variable(const char* name)
{
    const char* value = std::getenv(name);
    return value != nullptr ? value : "";
}

/// Kept until the toolkit has its own: an X server without any client starts anew and lets nobody in meanwhile.
xcb_connection_t* triedConnection = nullptr;

/// Connects with the cookie that the environment names.
bool xServerAnswers()
{
    if (variable("DISPLAY").empty()) return false;
    auto* connection = ::xcb_connect(nullptr, nullptr);
    if (::xcb_connection_has_error(connection) == 0) {
        triedConnection = connection;
        return true;
    }
    ::xcb_disconnect(connection);
    return false;
}

bool waylandAnswers()
{
    auto path = variable("WAYLAND_DISPLAY");
    if (path.empty()) return false;
    if (!path.starts_with('/')) path = variable("XDG_RUNTIME_DIR") + "/" + path;

    sockaddr_un address{.sun_family = AF_UNIX, .sun_path = {}};
    if (path.size() >= sizeof address.sun_path) return false;
    std::copy(path.begin(), path.end(), address.sun_path);
    const platform::UniqueFd socket(::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0));
    return socket.isOpen() && ::connect(socket.get(), reinterpret_cast<const sockaddr*>(&address), sizeof address) == 0;
}

} // namespace

bool findDisplay()
{
    ::alarm(kAnswerSeconds);
    // "xcb:option=value;wayland" names plug-ins, best first, with their options.
    const auto asked = variable("QT_QPA_PLATFORM");
    const std::string_view plugin(
        asked.data(), asked.find_first_of(":;") != std::string::npos ? asked.find_first_of(":;") : asked.size());
    if (plugin == "xcb") return xServerAnswers();
    if (plugin.starts_with("wayland")) return waylandAnswers();
    if (!plugin.empty()) return true;

    const char* found = nullptr;
    if (xServerAnswers()) {
        found = "xcb";
    } else if (waylandAnswers()) {
        found = "wayland";
    }
    return found != nullptr && ::setenv("QT_QPA_PLATFORM", found, 1) == 0;
}

void displayIsUp()
{
    ::alarm(0);
    if (triedConnection != nullptr) ::xcb_disconnect(std::exchange(triedConnection, nullptr));
}

bool becomeEffectiveUser()
{
    const auto user = ::geteuid();
    const auto group = ::getegid();
    // The group first: once the user is an ordinary one, it may not be changed any more.
    if (::getgid() != group && ::setresgid(group, group, group) != 0) return false;
    return ::getuid() == user || ::setresuid(user, user, user) == 0;
}

} // namespace windows
