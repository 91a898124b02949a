#pragma once

#include <memory>

#include "pavod_vex.h"

namespace roamer
{

enum RunMode : int {
    kRunModeNone = 0,
    kRunModeStartup = 1,
    kRunModeSyncNow = 2,
    kRunModeRefreshPreferences = 3,
};

/// The one server object of the process: null until Pavo_StartPavo succeeds. Never destroyed by the end of the process
/// itself.
extern std::shared_ptr<Pavod_VEX>& gPavoServer;

/// Makes the server object and, with `createConnection`, publishes it. False after a failure, which was reported; then
/// gPavoServer is as before.
bool Pavo_StartPavo(RunMode runMode, bool createConnection, const ServerServices& services,
                    const FlowsFactory& makeFlows);

/// Stops the main event loop and ends the process. Does nothing without a server object. While flows run it only ends
/// their waits, and the process ends when the last flow has come back. Else it comes back only when the application
/// refuses to end, and then the server object is gone.
void Pavo_StopPavo();

} // namespace roamer
