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
    bool detach(std::function<void()> body) override
    {
        mWaiting.push_back(std::move(body));
        return true;
    }
    void runAll()
    {
        for (const auto& body : std::exchange(mWaiting, {}))
            body();
    }

private:
    std::vector<std::function<void()>> mWaiting;
};

} // namespace fakes
