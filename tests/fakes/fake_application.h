#pragma once

#include <functional>

#include "platform/application.h"

namespace fakes
{

/// An application that ends nothing: terminate asks and tells the delegate, then raises ProcessEnded where a real
/// process would be gone.
class FakeApplication final : public platform::Application
{
public:
    struct ProcessEnded {
    };

    bool terminateReturns = false;     ///< As if the delegate had refused.
    std::function<void()> whileItRuns; ///< What happens inside `run`.
    platform::ApplicationDelegate* delegate = nullptr;
    int runs = 0;
    int stops = 0;

    void setDelegate(platform::ApplicationDelegate* newDelegate) override { delegate = newDelegate; }
    void run() override
    {
        ++runs;
        if (whileItRuns) whileItRuns();
    }
    void stop() override { ++stops; }
    void terminate() override
    {
        if (delegate != nullptr && delegate->applicationShouldTerminate()) delegate->applicationWillTerminate();
        if (!terminateReturns) throw ProcessEnded{};
    }
};

} // namespace fakes
