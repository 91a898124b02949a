// pam_roamer.so: has roamer-session sync a portable account's homes when its first session opens and its last closes.
//
// The password can be seen in the auth phase only; it is kept until the session opens. Whatever happens here, the login
// goes on: every entry answers PAM_IGNORE, and what went wrong is said.

#include <algorithm>
#include <array>
#include <cstdlib>
#include <exception>
#include <pwd.h>
#include <string>
#include <string_view>
#include <sys/stat.h>
#include <syslog.h>
#include <vector>

#define PAM_SM_AUTH
#define PAM_SM_SESSION
#include <security/pam_ext.h>
#include <security/pam_modules.h>

#include "module_options.h"
#include "password.h"
#include "session_count.h"
#include "session_run.h"

namespace
{

using roamer::pam::ModuleOptions;
using roamer::pam::Password;

constexpr const char* kPasswordData = "roamer_password";
constexpr unsigned kFirstPersonUid = 1000; ///< Accounts below are the system's.
constexpr unsigned kNobodyUid = 65534;
constexpr int kGraceSeconds = 10;                               ///< For roamer-session to say that its own time is up.
constexpr std::string_view kProgramPrefix = "roamer-session: "; ///< Nothing to the person.

/// Services that open sessions which are not a person's sitting down.
constexpr std::array<std::string_view, 12> kOtherServices = {
    "systemd-user", "cron",   "crond",   "atd",       "su",       "su-l",
    "sudo",         "sudo-i", "runuser", "runuser-l", "polkit-1", "pkexec",
};

/// What the greeter tells of its display, for the windows of a login, and the person's language.
constexpr std::array<const char*, 7> kPassedVariables = {
    "DISPLAY", "WAYLAND_DISPLAY", "XAUTHORITY", "LANG", "LANGUAGE", "LC_ALL", "LC_MESSAGES",
};

std::string textItem(pam_handle_t* pam, int item)
{
    const void* value = nullptr;
    if (pam_get_item(pam, item, &value) != PAM_SUCCESS || value == nullptr) return {};
    return static_cast<const char*>(value);
}

bool isRecorded(const ModuleOptions& options, const std::string& name)
{
    if (name.empty() || name.starts_with('.') || name.find('/') != std::string::npos) return false;
    const auto record = options.systemRoot + "/Library/Directory/Local/Users/" + name + ".plist";
    struct stat info {
    };
    return stat(record.c_str(), &info) == 0;
}

struct Person {
    std::string name;
    unsigned uid = 0;
};

/// Whom the session is for; an empty name when it is nothing to us.
Person personOf(pam_handle_t* pam, const ModuleOptions& options)
{
    const auto service = textItem(pam, PAM_SERVICE);
    if (std::ranges::find(kOtherServices, service) != kOtherServices.end()) return {};
    const auto name = textItem(pam, PAM_USER);
    std::array<char, 16384> buffer{};
    passwd entry{};
    passwd* found = nullptr;
    if (name.empty() || getpwnam_r(name.c_str(), &entry, buffer.data(), buffer.size(), &found) != 0 || found == nullptr)
        return {};
    if (found->pw_uid < kFirstPersonUid || found->pw_uid >= kNobodyUid) return {};
    if (!options.networkHome && !isRecorded(options, name)) return {};
    return {name, found->pw_uid};
}

std::vector<std::string> environmentOf(pam_handle_t* pam)
{
    std::vector<std::string> environment = {"PATH=/usr/local/sbin:/usr/local/bin:/usr/sbin:/usr/bin:/sbin:/bin"};
    const auto display = textItem(pam, PAM_XDISPLAY);
    for (const char* name : kPassedVariables) {
        const char* value = pam_getenv(pam, name);
        if (value != nullptr) {
            environment.push_back(std::string(name) + "=" + value);
        } else if (std::string_view(name) == "DISPLAY" && !display.empty()) {
            environment.push_back("DISPLAY=" + display);
        }
    }
    return environment;
}

void wipe(pam_handle_t*, void* data, int)
{
    delete static_cast<Password*>(data);
}

/// Runs roamer-session and tells the person what it said when not all is synced.
void runFor(pam_handle_t* pam, int flags, const ModuleOptions& options, const Person& person, const char* command,
            std::string_view password)
{
    std::vector<std::string> arguments = {command, "--user", person.name};
    if (std::string_view(command) != "changed") {
        arguments.emplace_back("--timeout");
        arguments.push_back(std::to_string(options.timeoutSeconds));
    }
    const auto run = roamer::pam::runSession(options.program, arguments, environmentOf(pam), password,
                                             options.timeoutSeconds + kGraceSeconds);
    if (run.isOver && run.exitStatus == 0 && run.lastLine.empty()) return;
    std::string reason = run.lastLine;
    if (reason.starts_with(kProgramPrefix)) reason.erase(0, kProgramPrefix.size());
    if (reason.empty()) {
        reason = run.isOver ? "the homes could not be synced. The files on this computer are safe; the next sync tries "
                              "again, and the system log may say why."
                            : "the sync takes longer and goes on by itself.";
    }
    syslog(LOG_AUTHPRIV | LOG_WARNING, "pam_roamer: %s for %s: %s", command, person.name.c_str(), reason.c_str());
    if ((flags & PAM_SILENT) == 0) pam_info(pam, "Roamer: %s", reason.c_str());
}

void openSession(pam_handle_t* pam, int flags, const ModuleOptions& options)
{
    const auto person = personOf(pam, options);
    if (!person.name.empty() && !options.networkHome &&
        roamer::pam::SessionCount(options.countsFolder, person.uid).open()) {
        const void* kept = nullptr;
        const bool hasPassword = pam_get_data(pam, kPasswordData, &kept) == PAM_SUCCESS && kept != nullptr;
        if (!hasPassword && (flags & PAM_SILENT) == 0)
            pam_info(pam,
                     "Roamer: this login came without a password, so a network home that asks for one is not synced. "
                     "The files on this computer are safe; a login with the password syncs them.");
        runFor(pam, flags, options, person, "login",
               hasPassword ? static_cast<const Password*>(kept)->text() : std::string_view());
    }
    pam_set_data(pam, kPasswordData, nullptr, nullptr);
}

void closeSession(pam_handle_t* pam, int flags, const ModuleOptions& options)
{
    const auto person = personOf(pam, options);
    if (person.name.empty()) return;
    if (options.networkHome) {
        runFor(pam, flags, options, person, "changed", {});
    } else if (roamer::pam::SessionCount(options.countsFolder, person.uid).close()) {
        runFor(pam, flags, options, person, "logout", {});
    }
}

/// Nothing that happens in here may end the program that logs people in.
template <typename Work>
int guarded(Work work)
{
    try {
        work();
    } catch (const std::exception& error) {
        syslog(LOG_AUTHPRIV | LOG_ERR, "pam_roamer: %s", error.what());
    } catch (...) {
        syslog(LOG_AUTHPRIV | LOG_ERR, "pam_roamer: unknown failure");
    }
    return PAM_IGNORE;
}

} // namespace

extern "C" {

__attribute__((visibility("default"))) int pam_sm_authenticate(pam_handle_t* pam, int, int argc, const char** argv)
{
    return guarded([&] {
        const auto options = roamer::pam::parseOptions(argc, argv);
        const void* password = nullptr;
        if (personOf(pam, options).name.empty()) return;
        if (pam_get_item(pam, PAM_AUTHTOK, &password) != PAM_SUCCESS || password == nullptr) return;
        pam_set_data(pam, kPasswordData, new Password(static_cast<const char*>(password)), wipe);
    });
}

__attribute__((visibility("default"))) int pam_sm_setcred(pam_handle_t*, int, int, const char**)
{
    return PAM_IGNORE;
}

__attribute__((visibility("default"))) int pam_sm_open_session(pam_handle_t* pam, int flags, int argc,
                                                               const char** argv)
{
    return guarded([&] { openSession(pam, flags, roamer::pam::parseOptions(argc, argv)); });
}

__attribute__((visibility("default"))) int pam_sm_close_session(pam_handle_t* pam, int flags, int argc,
                                                                const char** argv)
{
    return guarded([&] { closeSession(pam, flags, roamer::pam::parseOptions(argc, argv)); });
}
}
