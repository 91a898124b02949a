// lobbyd: the login session manager's mount port "com.kestrel.lobby.notify".
//
//   lobbyd              on the system bus, or on the session bus where the system bus is not to be had
//   lobbyd --system     on the system bus only
//   lobbyd --session    on the session bus only
//   lobbyd --clients F  takes mount.nfs, mount.cifs and sshfs from the folder F
//
// Exit status: 0 when its bus went away, 1 when the port cannot be served, 2 for wrong arguments.

#include <cstdio>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include <sys/prctl.h>
#include <sys/resource.h>

#include "login_passwords.h"
#include "network_home_url.h"
#include "platform/linux/application.h"
#include "platform/linux/directory_service.h"
#include "platform/linux/file_system.h"
#include "platform/linux/identity_service.h"
#include "platform/linux/port_server.h"
#include "platform/linux/preference_store.h"
#include "platform/linux/property_list_codec.h"
#include "platform/linux/run_loop.h"
#include "platform/linux/user_database.h"
#include "requests.h"
#include "shares.h"
#include "util/debug_log.h"
#include "util/lobby_notify.h"
#include "volumes.h"

namespace
{

/// Standard error is the log of a service.
class ErrorStreamLog final : public roamer::LogTarget
{
public:
    bool wants(int level) override { return level <= 1; }
    void write(int /*level*/, const std::string& message) override { std::fprintf(stderr, "%s\n", message.c_str()); }
};

struct Choice {
    bool system = true;
    bool session = true;
    std::string clients;
};

bool readArguments(int argc, char** argv, Choice& choice)
{
    for (int i = 1; i < argc; ++i) {
        const std::string_view argument = argv[i];
        if (argument == "--system") {
            choice.session = false;
        } else if (argument == "--session") {
            choice.system = false;
        } else if (argument == "--clients" && i + 1 < argc) {
            choice.clients = argv[++i];
        } else {
            return false;
        }
    }
    return choice.system || choice.session;
}

/// Passwords pass through this process: nobody reads its memory, also not afterwards.
void hideMemory()
{
    ::prctl(PR_SET_DUMPABLE, 0);
    const rlimit none{0, 0};
    ::setrlimit(RLIMIT_CORE, &none);
}

/// What the requests work with. Members stand in the order of what needs what.
class Service
{
public:
    explicit Service(const std::string& clients)
        : mShares({.runLoop = *mRunLoop,
                   .volumes = mVolumes,
                   .clients = clients,
                   .ticketFolder = "/tmp",
                   .loginPassword = [this](uid_t user, const std::string& url) { return loginPassword(user, url); }})
    {
    }

    /// "", or why the shares have no place.
    std::string open()
    {
        auto problem = mVolumes.open();
        if (problem.empty()) mShares.recover();
        return problem;
    }
    lobby::Requests& requests() { return mRequests; }

private:
    /// Only the server that the directory names gets it: a program of the user's own could name any.
    std::optional<lobby::Secret> loginPassword(uid_t user, const std::string& url)
    {
        const auto account = platform::findUser(user);
        if (!account.entry) return std::nullopt;
        if (lobby::networkHomeURL(mDirectoryContext, *mFileSystem, account.entry->name) != url) return std::nullopt;
        return lobby::LoginPasswords::find(user);
    }

    std::unique_ptr<platform::RunLoop> mRunLoop = platform::makeRunLoop();
    std::unique_ptr<platform::PropertyListCodec> mCodec = platform::makePropertyListCodec();
    std::unique_ptr<platform::PreferenceStore> mStore = platform::makePreferenceStore(*mCodec);
    std::unique_ptr<platform::FileSystem> mFileSystem = platform::makeFileSystem();
    std::unique_ptr<platform::DirectoryService> mDirectory = platform::makeDirectoryService(*mCodec);
    std::unique_ptr<platform::IdentityService> mIdentity = platform::makeIdentityService();
    roamer::DirectoryContext mDirectoryContext{*mDirectory, *mIdentity, *mCodec};
    lobby::Volumes mVolumes{*mStore, *mCodec};
    lobby::Shares mShares;
    lobby::Requests mRequests{*mCodec, mShares};
};

} // namespace

int main(int argc, char** argv)
{
    hideMemory();
    Choice choice;
    if (!readArguments(argc, argv, choice)) {
        std::fputs("usage: lobbyd [--system | --session] [--clients FOLDER]\n", stderr);
        return 2;
    }
    ErrorStreamLog log;
    roamer::setLogTarget(&log);
    using Place = platform::PortServer::Place;
    const auto application = platform::makeApplication();
    Service service(choice.clients);
    const auto serve = [&](Place place) {
        return platform::servePort(
            place, roamer::kLobbyNotifyPort,
            [&service](platform::PortMessage message, platform::PortServer::Reply reply) {
                service.requests().handle(std::move(message), std::move(reply));
            },
            [&application] { application->stop(); });
    };

    auto server = choice.system ? serve(Place::SystemBus) : nullptr;
    const bool onSystemBus = server != nullptr;
    if (server == nullptr && choice.session) server = serve(Place::SessionBus);
    if (server == nullptr) {
        std::fprintf(stderr, "lobbyd: the port \"%s\" cannot be served: no bus, or another process owns it\n",
                     roamer::kLobbyNotifyPort);
        return 1;
    }
    // After the name, which one process alone has: two of them would take each other's mounts for left-overs.
    if (const auto problem = service.open(); !problem.empty()) {
        std::fprintf(stderr, "lobbyd: shares cannot be mounted: %s\n", problem.c_str());
        return 1;
    }
    std::printf("lobbyd: serving \"%s\" on the %s bus\n", roamer::kLobbyNotifyPort, onSystemBus ? "system" : "session");
    std::fflush(stdout);
    application->run();
    return 0;
}
