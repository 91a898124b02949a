#pragma once

#include <functional>
#include <utility>
#include <vector>

#include "platform/threads.h"

namespace fakes
{

/// Threads that run when the test says so, on the test's own thread.
class FakeThreads final : public platform::Threads
{
public:
    bool hasThreads = true;
    std::vector<std::function<void()>> waiting;

    bool detach(std::function<void()> body) override
    {
        if (hasThreads) waiting.push_back(std::move(body));
        return hasThreads;
    }
    void runAll()
    {
        for (const auto& body : std::exchange(waiting, {}))
            body();
    }
};

} // namespace fakes
