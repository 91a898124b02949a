#pragma once

#include <string>

#include "options.h"

namespace roamer::ctl
{

// One function and one file for each kind of command. What it returns is the exit status of the process; reasons go to
// standard error.
ExitStatus run(const StatusOptions& options);
ExitStatus run(const MessageOptions& options);
ExitStatus run(const GetOptions& options);
ExitStatus run(const SetOptions& options);
ExitStatus run(const KeysOptions& options);
ExitStatus run(const ExplainOptions& options);
ExitStatus run(const LogOptions& options);
ExitStatus run(const ConflictsOptions& options);
ExitStatus run(const AccountOptions& options);
ExitStatus run(const FirstSyncOptions& options);
ExitStatus run(const EnrollOptions& options);
ExitStatus run(const UnenrollOptions& options);
ExitStatus run(const FleetOptions& options);
ExitStatus run(const CompletionOptions& options);

/// Says it on standard error.
void complain(const std::string& words);

/// Says why on standard error; kRefused.
ExitStatus refuse(const std::string& reason);

/// Runs the program in place of this process; kRefused with the reason when it cannot be started.
ExitStatus become(const std::string& program, const std::vector<std::string>& arguments);

/// The program that is installed beside this one, else the one of that name in the search path.
std::string siblingProgram(const std::string& name);

} // namespace roamer::ctl
