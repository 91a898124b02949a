#pragma once

#include <ctime>
#include <optional>
#include <string>

namespace platform
{

/// What the debug log asks its machine. None of these may log: the log holds its lock while it asks. Paths are real
/// ones, with the system root.
class LogHost
{
public:
    virtual ~LogHost() = default;
    /// From the password entry of the effective user; null when there is no entry, or none in it.
    virtual std::optional<std::string> effectiveUserHome() = 0;
    virtual int processId() = 0;
    /// The operating system's build; "" when it does not say.
    virtual std::string systemBuildVersion() = 0;
    virtual std::tm localTime() = 0;
    /// As far as the process may.
    virtual void changeOwner(const std::string& path, unsigned uid, unsigned gid) = 0;
    /// Runs the command in the system's shell and waits for its end.
    virtual void runInShell(const std::string& command) = 0;
};

} // namespace platform
