#pragma once

#include <functional>

namespace platform
{

/// System sleep. All on the main thread.
class PowerService
{
public:
    enum class SleepMessage { CanSystemSleep, SystemWillSleep };
    enum class Answer { Allow, Cancel };
    using Handler = std::function<Answer(SleepMessage)>;
    virtual ~PowerService() = default;

    /// Asks to be told before sleep; the handler comes on the main run loop. False: the service is absent.
    virtual bool registerForSystemPower(Handler handler) = 0;

    /// Says that the handler would now answer otherwise than before: a service that has to know in advance asks it.
    virtual void answersChanged() {}

    /// The person counts as active: the machine does not idle-sleep for now.
    virtual void reportUserActivity() = 0;
};

} // namespace platform
