#pragma once

#include <functional>

#include "pavo_server.h"
#include "platform/event_trace.h"

namespace roamer
{

/// What the command line asks for.
struct RunRequest {
    RunMode runMode = kRunModeNone;
    bool hasWork = false;
};

/// No arguments: startup. Else the flags in every character of the arguments that begin with "-", up to the first that
/// does not; the last flag wins. Unknown flags are explained on standard error and skipped.
RunRequest parseArguments(int argc, const char* const* argv);

/// What the program is run with.
struct RoamerProcess {
    platform::EventTrace& trace;
    std::function<void()> openLogs;           ///< Called once, after the first trace point.
    std::function<ServerServices()> services; ///< Called once, when there is work that needs them.
    FlowsFactory makeFlows;                   ///< Called after `services`.
};

/// The program: serves, or hands one command to the agent that serves, or carries it out itself where none does.
/// Returns the exit status; a command that ends the process inside does not come back.
int roamerMain(int argc, const char* const* argv, const RoamerProcess& process);

} // namespace roamer
