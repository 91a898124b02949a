#pragma once

namespace platform
{

class ApplicationDelegate
{
public:
    virtual ~ApplicationDelegate() = default;
    virtual bool applicationShouldTerminate() = 0;
    virtual void applicationWillTerminate() = 0;
};

/// The process's application object on the main thread.
class Application
{
public:
    virtual ~Application() = default;

    /// Borrowed; null for none.
    virtual void setDelegate(ApplicationDelegate* delegate) = 0;

    /// Runs the main event loop until `stop`.
    virtual void run() = 0;

    /// Makes the innermost `run` return soon. Nothing happens when none runs.
    virtual void stop() = 0;

    /// Asks the delegate, announces the end to it and ends the process with status 0. Returns only when the delegate
    /// refuses. Messages that were sent one-way before have been handed to the bus when the process ends.
    virtual void terminate() = 0;
};

} // namespace platform
