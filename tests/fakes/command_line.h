#pragma once

#include <atomic>
#include <cstdio>
#include <string>
#include <sys/wait.h>
#include <thread>

#include "platform/run_loop.h"

namespace fakes
{

/// A command of the shell and what it printed, both streams together.
struct CommandResult {
    int status = -1;
    std::string output;
};

inline CommandResult runCommand(const std::string& command)
{
    CommandResult result;
    std::FILE* pipe = ::popen((command + " 2>&1").c_str(), "r");
    for (int byte = 0; (byte = std::fgetc(pipe)) != EOF;)
        result.output += static_cast<char>(byte);
    const int ended = ::pclose(pipe);
    if (WIFEXITED(ended)) result.status = WEXITSTATUS(ended);
    return result;
}

/// Does the work of a client on a thread of its own while the loop serves on this one.
inline void whileServing(platform::RunLoop& loop, const std::function<void()>& work)
{
    std::atomic<bool> done = false;
    std::thread client([&] {
        work();
        done = true;
    });
    while (!done)
        loop.runFor(std::chrono::milliseconds(5));
    client.join();
}

} // namespace fakes
