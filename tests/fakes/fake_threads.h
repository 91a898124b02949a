#pragma once

#include <functional>
#include <utility>
#include <vector>

#include "platform/threads.h"

namespace fakes
{

/// Keeps what is to run elsewhere until a test runs it, at the time that it chooses.
class FakeThreads final : public platform::Threads
{
public:
    std::vector<std::function<void()>> bodies; ///< Not run yet, in the order asked.
    bool available = true;

    bool detach(std::function<void()> body) override
    {
        if (!available) return false;
        bodies.push_back(std::move(body));
        return true;
    }
    void runAll()
    {
        for (auto& body : std::exchange(bodies, {}))
            body();
    }
};

} // namespace fakes
