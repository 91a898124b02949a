#pragma once

#include <atomic>
#include <cstdio>
#include <functional>
#include <string>
#include <sys/wait.h>
#include <thread>

#include "platform/run_loop.h"

/// A command of the shell and what it printed, both streams together.
struct CommandResult {
    int status = -1;
    std::string output;
};

inline CommandResult runCommand(const std::string& command)
{
    CommandResult result;
    std::FILE* pipe = ::popen((command + " 2>&1").c_str(), "r");
    if (pipe == nullptr) return result;
    char buffer[4096];
    for (std::size_t count = 0; (count = std::fread(buffer, 1, sizeof buffer, pipe)) > 0;)
        result.output.append(buffer, count);
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
