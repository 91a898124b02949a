#include <charconv>
#include <cstdio>
#include <cstring>
#include <optional>
#include <string>

#include <sys/types.h>
#include <unistd.h>

#include <QCoreApplication>

#include "braid/protocol.h"
#include "bus_service.h"
#include "end_signals.h"
#include "inotify_watcher.h"
#include "local_home.h"
#include "platform/linux/bus_connection.h"
#include "platform/linux/directory_service.h"
#include "platform/linux/property_list_codec.h"
#include "platform/linux/run_loop.h"
#include "platform/linux/system_log.h"
#include "sync_agent.h"
#include "sync_set_store.h"
#include "threaded_pass_engine.h"
#include "util/debug_log.h"

namespace
{

namespace agent = braid::agent;

constexpr int kExitUsage = 2;
constexpr int kExitFailure = 1;
// A pass that hangs on a server that does not answer cannot be asked to end; killing it there loses nothing.
constexpr double kLongestEndSeconds = 30;

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

std::optional<uid_t> uidArgument(int count, char** arguments)
{
    if (count == 4 && std::strcmp(arguments[3], braid::protocol::kSessionArgument) == 0) --count;
    if (count != 3 || std::strcmp(arguments[1], braid::protocol::kUidArgument) != 0) return std::nullopt;
    const char* end = arguments[2] + std::strlen(arguments[2]);
    uid_t uid = 0;
    const auto [stop, error] = std::from_chars(arguments[2], end, uid);
    if (error != std::errc{} || stop != end) return std::nullopt;
    return uid;
}

int refuse(int status, const std::string& reason)
{
    std::fprintf(stderr, "BraidAgent: %s\n", reason.c_str());
    return status;
}

int serve(const std::string& home, platform::PropertyListCodec& codec, platform::BusConnection& bus)
{
    QObject object; // what the bus sees, and the context of tasks for the main thread
    const agent::PostToMain post = [&object](std::function<void()> task) {
        QMetaObject::invokeMethod(&object, std::move(task), Qt::QueuedConnection);
    };
    const auto runLoop = platform::makeRunLoop();
    agent::SyncSetStore store(codec, home);
    agent::ThreadedPassEngine engine(home, post);
    agent::InotifyWatcher watcher(home, post);
    agent::SyncAgent syncAgent(*runLoop, store, engine, watcher);
    auto* service = new agent::BusService(syncAgent, bus, &object); // the object's, as adaptors are

    platform::Timer deadline;
    const agent::EndSignals signals(bus, [&] {
        deadline = runLoop->after(platform::seconds(kLongestEndSeconds), [] {
            roamer::DebugLog(0, "agent: the running pass did not end; ending without it");
            ::_exit(kExitFailure);
        });
        syncAgent.end([] { QCoreApplication::quit(); });
    });
    if (!service->takeName()) {
        return refuse(kExitFailure, std::string(braid::protocol::kBusName) + " is served by another process already");
    }
    QCoreApplication::exec();
    bus.flush();
    return 0;
}

} // namespace

int main(int count, char** arguments)
{
    const auto uid = uidArgument(count, arguments);
    if (!uid) return refuse(kExitUsage, "usage: BraidAgent -uid N [--session]");
    if (*uid != ::getuid() || *uid != ::geteuid()) {
        return refuse(kExitUsage, "runs for the user who starts it only, which is " + std::to_string(::getuid()));
    }
    agent::EndSignals::block();
    const QCoreApplication application(count, arguments);
    const auto systemLog = platform::makeSystemLog("BraidAgent");
    AgentLog log(*systemLog);
    roamer::setLogTarget(&log);

    platform::BusConnection bus(platform::Bus::Session);
    if (!bus.isConnected()) return refuse(kExitFailure, "there is no session bus");
    if (bus.hasOwner(QString::fromLatin1(braid::protocol::kBusName))) {
        return refuse(kExitFailure, std::string(braid::protocol::kBusName) + " is served by another process already");
    }
    const auto codec = platform::makePropertyListCodec();
    const auto directory = platform::makeDirectoryService(*codec);
    const auto home = agent::findLocalHome(*directory, *uid);
    if (const auto* none = std::get_if<agent::NoHome>(&home)) return refuse(kExitFailure, none->reason);
    return serve(std::get<std::string>(home), *codec, bus);
}
