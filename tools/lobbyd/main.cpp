// lobbyd: the login session manager's mount port "com.kestrel.lobby.notify".
//
//   lobbyd              on the system bus, or on the session bus where the system bus is not to be had
//   lobbyd --system     on the system bus only
//   lobbyd --session    on the session bus only
//
// Exit status: 0 when its bus went away, 1 when the port cannot be served, 2 for wrong arguments.

#include <cstdio>
#include <string>
#include <string_view>

#include "platform/linux/application.h"
#include "platform/linux/lobby_requests.h"
#include "platform/linux/port_server.h"
#include "platform/linux/property_list_codec.h"
#include "util/debug_log.h"
#include "util/lobby_notify.h"

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
};

/// False for anything but one of the two options.
bool readArguments(int argc, char** argv, Choice& choice)
{
    if (argc == 1) return true;
    if (argc > 2) return false;
    const std::string_view argument = argv[1];
    choice = {argument == "--system", argument == "--session"};
    return choice.system || choice.session;
}

} // namespace

int main(int argc, char** argv)
{
    Choice choice;
    if (!readArguments(argc, argv, choice)) {
        std::fputs("usage: lobbyd [--system | --session]\n", stderr);
        return 2;
    }
    ErrorStreamLog log;
    roamer::setLogTarget(&log);
    using Place = platform::PortServer::Place;
    const auto application = platform::makeApplication();
    const auto codec = platform::makePropertyListCodec();
    platform::LobbyRequests requests(*codec);
    const auto serve = [&](Place place) {
        return platform::servePort(
            place, roamer::kLobbyNotifyPort,
            [&requests](std::int32_t id, const auto& body) { return requests.answer(id, body); },
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
    std::printf("lobbyd: serving \"%s\" on the %s bus\n", roamer::kLobbyNotifyPort, onSystemBus ? "system" : "session");
    std::fflush(stdout);
    application->run();
    return 0;
}
