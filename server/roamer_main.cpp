#include "roamer_main.h"

#include <cstdint>
#include <cstdio>

#include "platform/failure.h"
#include "util/debug_log.h"
#include "util/report.h"

namespace roamer
{

namespace
{

constexpr std::uint32_t kTraceMainEntered = 0x21090000;
constexpr std::uint32_t kTraceMainEnded = 0x21090004;

RunMode runModeOfFlag(char flag)
{
    switch (flag) {
    case 's':
    case 'S':
        return kRunModeSyncNow;
    case 'r':
    case 'R':
        return kRunModeRefreshPreferences;
    default:
        return kRunModeNone;
    }
}

void sendCommand(RunMode runMode, platform::Pavo_Server& server)
{
    if (runMode == kRunModeSyncNow) server.pavo_syncNow();
    if (runMode == kRunModeRefreshPreferences) server.pavo_refreshPreferences();
}

/// Hands the command to the agent that serves. True when there is none, so that this process has to do the work.
bool needsOwnServer(RunMode runMode, platform::ObjectMessaging& messaging)
{
    try {
        const auto server = messaging.lookUpPavoServer(kPavoServerName);
        if (server != nullptr) sendCommand(runMode, *server);
        return server == nullptr;
    } catch (const platform::Failure& failure) {
        DebugLog(1, "Roamer: caught exception: name=\"%s\", reason=\"%s\"", failure.name().c_str(),
                 failure.reason().c_str());
        return false;
    }
}

void serve(RunMode runMode, const ServerServices& services, const FlowsFactory& makeFlows)
{
    if (!Pavo_StartPavo(runMode, true, services, makeFlows)) return;
    DebugLog(2, "Roamer: runloop entering");
    services.application.setDelegate(gPavoServer.get());
    if (runMode == kRunModeStartup) {
        services.application.run();
    } else {
        sendCommand(runMode, *gPavoServer);
    }
    DebugLog(2, "Roamer: runloop ended - all ok. exiting");
}

} // namespace

RunRequest parseArguments(int argc, const char* const* argv)
{
    if (argc <= 1) {
        DebugLog(2, "Roamer: No parameters specified.  Defaulting to startup.");
        return {kRunModeStartup, true};
    }
    RunRequest request;
    for (int i = 1; i < argc && argv[i][0] == '-'; ++i) {
        for (const char* flag = argv[i] + 1; *flag != '\0'; ++flag) {
            const RunMode runMode = runModeOfFlag(*flag);
            if (runMode == kRunModeNone) {
                std::fprintf(stderr,
                             "Roamer: unknown flag '%c'.\nUse \"-s\" to sync home now; \"-r\" to refresh Braid "
                             "preferences based on current com.kestrel.roamer preferences.\n",
                             *flag);
            } else {
                request = {runMode, true};
            }
        }
    }
    return request;
}

int roamerMain(int argc, const char* const* argv, const RoamerProcess& process)
{
    process.trace.trace(kTraceMainEntered);
    process.openLogs();
    const RunRequest request = parseArguments(argc, argv);
    if (!request.hasWork) {
        report("Roamer: main ended.. no work to do");
        return 1;
    }
    const ServerServices services = process.services();
    const bool startServer = request.runMode == kRunModeStartup || needsOwnServer(request.runMode, services.messaging);
    if (startServer) serve(request.runMode, services, process.makeFlows);
    process.trace.trace(kTraceMainEnded);
    return 0;
}

} // namespace roamer
