#pragma once

#include <functional>
#include <set>

#include "platform/failure.h"
#include "platform/process_launcher.h"

namespace fakes
{

/// Launches nothing: children are ids that run until a test, or `onTerminate`, ends them.
class FakeProcessLauncher final : public platform::ProcessLauncher
{
public:
    bool canLaunch = true;
    std::vector<std::string> launched; ///< "user(uid,gid) program arguments", without the user for a task.
    std::vector<int> terminated;
    std::set<int> running;
    std::function<void(int pid)> onLaunch;
    std::function<void(int pid)> onTerminate; ///< Null: the child ends at once.

    int launchAsUser(const std::string& program, const std::vector<std::string>& arguments,
                     const platform::ProcessUser& user) override
    {
        if (!canLaunch) return -1;
        return launch(user.name + "(" + std::to_string(user.uid) + "," + std::to_string(user.gid) + ") " + program,
                      arguments);
    }
    int launchTask(const std::string& program, const std::vector<std::string>& arguments) override
    {
        if (!canLaunch) throw platform::Failure("LaunchFailed", program);
        return launch(program, arguments);
    }
    int terminate(int pid) override
    {
        terminated.push_back(pid);
        if (!running.contains(pid)) return -1;
        if (onTerminate) {
            onTerminate(pid);
        } else {
            running.erase(pid);
        }
        return 0;
    }
    bool hasEnded(int pid) override { return !running.contains(pid); }

private:
    int launch(std::string command, const std::vector<std::string>& arguments)
    {
        for (const auto& argument : arguments)
            command += " " + argument;
        launched.push_back(command);
        const int pid = 100 + static_cast<int>(launched.size());
        running.insert(pid);
        if (onLaunch) onLaunch(pid);
        return pid;
    }
};

} // namespace fakes
