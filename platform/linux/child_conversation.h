#pragma once

#include <cstddef>
#include <span>
#include <string>
#include <vector>

namespace platform
{

/// What came of a child process that was fed and listened to.
struct ChildResult {
    std::vector<std::byte> output; ///< Everything it wrote to its standard output.
    std::string problem;           ///< In words; empty when it ran and exited with status 0.
};

/// Runs `program` (a path as the kernel sees it) without arguments, writes `input` to its standard input while it reads
/// its standard output, and waits without a time limit until it has ended; no zombie stays. The rest is this process's:
/// environment, identity, standard error. A child that writes more than `outputLimitBytes` is killed. What the child's
/// own children do afterwards is not waited for. Broken pipes raise no signal here.
ChildResult converseWithChild(const std::string& program, std::span<const std::byte> input,
                              std::size_t outputLimitBytes);

} // namespace platform
