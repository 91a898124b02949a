#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace platform
{

/// Whom a program is run as.
struct ProcessUser {
    std::string name;
    std::uint32_t uid = 0;
    std::uint32_t gid = 0;
};

/// Starts programs as children of this process and sees them end; none stays behind as a zombie. A child is asked to
/// end (SIGTERM) when this process ends before it. Main thread only.
///
/// A program is a product path, another absolute path, or "~/..." in the home of the user that this process runs for.
class ProcessLauncher
{
public:
    virtual ~ProcessLauncher() = default;

    /// Takes on the user's identity in the child, reads from nothing and writes to the console. The child's id at once,
    /// negative when there is none. A program that cannot be executed is logged when its child has ended.
    virtual int launchAsUser(const std::string& program, const std::vector<std::string>& arguments,
                             const ProcessUser& user) = 0;

    /// Runs the program as this process's real user, with its streams. The child's id; raises Failure when the program
    /// cannot be executed.
    virtual int launchTask(const std::string& program, const std::vector<std::string>& arguments) = 0;

    /// Asks a child to end. 0, or -1 when the id is not that of a child that was started here and still runs.
    virtual int terminate(int pid) = 0;

    /// Whether the process is no running child of this one.
    virtual bool hasEnded(int pid) = 0;
};

} // namespace platform
