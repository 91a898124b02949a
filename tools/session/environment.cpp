#include "environment.h"

#include <algorithm>
#include <array>
#include <cstdlib>
#include <map>
#include <string_view>
#include <sys/auxv.h>
#include <sys/stat.h>
#include <unistd.h>

namespace roamer::session
{

namespace
{

constexpr const char* kPath = "/usr/local/bin:/usr/bin:/bin";
constexpr const char* kSessionBus = "DBUS_SESSION_BUS_ADDRESS";

// A name that ends with '_' stands for all that begin with it.
constexpr std::array<std::string_view, 13> kPassedOn = {
    "DISPLAY",
    "WAYLAND_DISPLAY",
    "XAUTHORITY",
    "QT_QPA_PLATFORM",
    "QT_SCALE_FACTOR",
    "LANG",
    "LANGUAGE",
    "LC_",
    "TZ",
    "ROAMER_ROOT",
    "DBUS_SYSTEM_BUS_ADDRESS",
    "XDG_SESSION_TYPE",
    "XDG_SEAT",
};

bool isPassedOn(std::string_view name)
{
    return std::ranges::any_of(kPassedOn, [name](std::string_view known) {
        return known.ends_with('_') ? name.starts_with(known) : name == known;
    });
}

std::map<std::string, std::string> ownVariables(bool all)
{
    std::map<std::string, std::string> found;
    if (::getauxval(AT_SECURE) != 0) return found;
    for (char** entry = environ; *entry != nullptr; ++entry) {
        const std::string_view text = *entry;
        const auto equals = text.find('=');
        if (equals == std::string_view::npos) continue;
        const auto name = text.substr(0, equals);
        if (all || isPassedOn(name)) found.emplace(name, text.substr(equals + 1));
    }
    return found;
}

/// The folder that the login manager made for the user; "" when there is none.
std::string runtimeFolder(const platform::UserEntry& user)
{
    const std::string path = "/run/user/" + std::to_string(user.uid);
    struct stat facts {
    };
    const bool isTheirs = ::lstat(path.c_str(), &facts) == 0 && S_ISDIR(facts.st_mode) && facts.st_uid == user.uid;
    return isTheirs ? path : "";
}

} // namespace

std::string trustedVariable(const char* name)
{
    const char* value = ::secure_getenv(name);
    return value != nullptr ? value : "";
}

Environment environmentFor(const platform::UserEntry& user, const std::string& busAddress)
{
    const bool isOwn = user.uid == ::getuid();
    auto variables = ownVariables(isOwn);
    if (!isOwn) {
        variables["HOME"] = user.home;
        variables["PATH"] = kPath;
        if (const auto folder = runtimeFolder(user); !folder.empty()) variables["XDG_RUNTIME_DIR"] = folder;
    }
    variables["USER"] = variables["LOGNAME"] = user.name;
    variables.emplace("HOME", user.home);
    variables.emplace("PATH", kPath);
    variables.emplace("LANG", "C.UTF-8");
    variables.erase(kSessionBus);
    if (!busAddress.empty()) variables[kSessionBus] = busAddress;

    Environment result;
    for (const auto& [name, value] : variables)
        result.push_back(std::string(name).append("=").append(value));
    return result;
}

} // namespace roamer::session
