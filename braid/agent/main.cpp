#include <charconv>
#include <cstdio>
#include <cstring>
#include <optional>
#include <string>

#include <sys/types.h>
#include <unistd.h>

#include <QCoreApplication>

#include "braid/engine.h"
#include "braid/protocol.h"
#include "engine_process.h"
#include "local_home.h"
#include "platform/linux/bus_connection.h"
#include "platform/linux/directory_service.h"
#include "platform/linux/property_list_codec.h"
#include "platform/linux/system_log.h"
#include "util/debug_log.h"

namespace
{

namespace agent = braid::agent;

constexpr int kExitUsage = 2;
constexpr int kExitFailure = 1;

/// Events to standard error, failures to the system log too.
class AgentLog final : public roamer::LogTarget
{
public:
    explicit AgentLog(platform::SystemLog& systemLog) : mSystemLog(systemLog) {}
    bool wants(int level) override { return level <= 1; }
    void write(int level, const std::string& message) override
    {
        std::fprintf(stderr, "BraidAgent[%d]: %s\n", static_cast<int>(::getpid()), message.c_str());
        if (level == 0) mSystemLog.error(message);
    }

private:
    platform::SystemLog& mSystemLog;
};

struct Arguments {
    uid_t uid = 0;
    agent::AgentPlace::Kind kind = agent::AgentPlace::Kind::Login;
};

std::optional<Arguments> read(int count, char** arguments)
{
    Arguments result;
    if (count == 4 && std::strcmp(arguments[3], braid::protocol::kSessionArgument) == 0) {
        result.kind = agent::AgentPlace::Kind::Session;
        --count;
    }
    if (count != 3 || std::strcmp(arguments[1], braid::protocol::kUidArgument) != 0) return std::nullopt;
    const char* end = arguments[2] + std::strlen(arguments[2]);
    const auto [stop, error] = std::from_chars(arguments[2], end, result.uid);
    if (error != std::errc{} || stop != end) return std::nullopt;
    return result;
}

int refuse(int status, const std::string& reason)
{
    std::fprintf(stderr, "BraidAgent: %s\n", reason.c_str());
    return status;
}

} // namespace

int main(int count, char** arguments)
{
    const auto wanted = read(count, arguments);
    if (!wanted) return refuse(kExitUsage, "usage: BraidAgent -uid N [--session]");
    if (wanted->uid != ::getuid() || wanted->uid != ::geteuid()) {
        return refuse(kExitUsage, "runs for the user who starts it only, which is " + std::to_string(::getuid()));
    }
    agent::EndSignals::block();
    braid::allowManyOpenFiles();
    const auto startAnew = [arguments] { ::execv("/proc/self/exe", arguments); };
    bool again = false;
    {
        const QCoreApplication application(count, arguments);
        const auto systemLog = platform::makeSystemLog("BraidAgent");
        AgentLog log(*systemLog);
        roamer::setLogTarget(&log);

        platform::BusConnection bus(platform::Bus::Session);
        if (!bus.isConnected()) return refuse(kExitFailure, "there is no session bus");
        const auto codec = platform::makePropertyListCodec();
        const auto directory = platform::makeDirectoryService(*codec);
        const auto home = agent::findLocalHome(*directory, wanted->uid);
        if (const auto* none = std::get_if<agent::NoHome>(&home)) return refuse(kExitFailure, none->reason);
        agent::EngineProcess process(std::get<std::string>(home), wanted->kind, *codec, bus, startAnew);
        const auto end = process.run();
        bus.flush();
        roamer::setLogTarget(nullptr);
        if (end == agent::EngineProcess::End::Failed) return kExitFailure;
        again = end == agent::EngineProcess::End::Again;
    }
    if (again) startAnew();
    return again ? kExitFailure : 0;
}
