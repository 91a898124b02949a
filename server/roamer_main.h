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

/// The program: serves, or hands one command to the agent that serves, or carries it out itself where none does.
/// `services` is called once, when there is work that needs them. Returns the exit status; a command that ends the
/// process inside does not come back.
int roamerMain(int argc, const char* const* argv, platform::EventTrace& trace,
               const std::function<ServerServices()>& services, const FlowsFactory& makeFlows);

} // namespace roamer
