#include "pavo_server.h"

#include "util/debug_log.h"
#include "util/report.h"

namespace roamer
{

// On the heap for good: the process may end deep inside one of the object's messages.
std::shared_ptr<Pavod_VEX>& gPavoServer = *new std::shared_ptr<Pavod_VEX>;

bool Pavo_StartPavo(RunMode /*runMode*/, bool createConnection, const ServerServices& services,
                    const FlowsFactory& makeFlows)
{
    DebugLog(2, "Pavo_StartPavo: Built %s at %s", __DATE__, __TIME__);
    if (gPavoServer != nullptr) {
        report("Roamer- server trying to run again");
        return false;
    }
    auto server = Pavod_VEX::init(services, makeFlows);
    if (server == nullptr) {
        report("Roamer- Unable to create the Roamer object");
        return false;
    }
    if (createConnection && !server->createConnection()) {
        report("Roamer- Unable to create the Roamer connection");
        return false;
    }
    gPavoServer = std::move(server);
    return true;
}

void Pavo_StopPavo()
{
    if (gPavoServer == nullptr || !gPavoServer->prepareToEnd()) return;
    DebugLog(2, "Pavo_StopPavo - retain count is %d", static_cast<int>(gPavoServer.use_count()));
    auto& application = gPavoServer->application();
    application.stop();
    application.terminate();
    application.setDelegate(nullptr);
    gPavoServer.reset();
}

} // namespace roamer
