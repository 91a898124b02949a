#pragma once

#include <functional>

namespace platform
{

class Threads
{
public:
    virtual ~Threads() = default;
    /// Runs `body` on a thread of its own that nobody waits for. False when no thread could be had.
    virtual bool detach(std::function<void()> body) = 0;
};

} // namespace platform
