#pragma once

#include <filesystem>
#include <iosfwd>
#include <optional>
#include <string>

#include "options.h"

namespace braid::cli
{

/// Where a command speaks.
struct Streams {
    std::ostream& out;
    std::ostream& err; ///< Reasons and progress.
};

/// Why the folder cannot be a home, in words; nothing if it can.
std::optional<std::string> whyNoFolder(const std::filesystem::path& folder);

/// One function and one file for each sub-command. What it returns is the exit status of the process.
ExitStatus run(const SyncOptions& options, Streams streams);
ExitStatus run(const CheckOptions& options, Streams streams);
ExitStatus run(const ConflictsOptions& options, Streams streams);
ExitStatus run(const StatusOptions& options, Streams streams);
ExitStatus run(const ResolveOptions& options, Streams streams);
ExitStatus run(const TrashOptions& options, Streams streams);
ExitStatus run(const ForgetOptions& options, Streams streams);

} // namespace braid::cli
