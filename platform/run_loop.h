#pragma once

#include <chrono>
#include <functional>
#include <memory>
#include <utility>

namespace platform
{

/// A scheduled task; dropping it cancels the task. May outlive its task but not the loop.
class Timer
{
public:
    Timer() = default;
    explicit Timer(std::function<void()> cancel) : mCancel(std::make_unique<Canceller>(std::move(cancel))) {}

    /// Whether the task may still run (again).
    explicit operator bool() const { return mCancel != nullptr; }
    void invalidate() { mCancel.reset(); }

private:
    struct Canceller {
        explicit Canceller(std::function<void()> act) : cancel(std::move(act)) {}
        ~Canceller() { cancel(); }
        Canceller(const Canceller&) = delete;
        Canceller& operator=(const Canceller&) = delete;
        std::function<void()> cancel;
    };
    std::unique_ptr<Canceller> mCancel;
};

/// The main thread's event loop and the only clock. All members but the destructor are for the main thread.
///
/// Running it delivers timers, engine callbacks, window events and incoming commands, whatever flow is waiting: after
/// any slice, shared state may have changed.
class RunLoop
{
public:
    using Clock = std::chrono::steady_clock;
    using Duration = Clock::duration;
    virtual ~RunLoop() = default;

    /// Never goes back.
    virtual Clock::time_point now() const = 0;

    /// The calendar time (UTC).
    virtual std::chrono::system_clock::time_point date() const = 0;

    /// Runs `task` once, not before `delay` has passed, never inside this call.
    [[nodiscard]] virtual Timer after(Duration delay, std::function<void()> task) = 0;

    /// Runs `task` every `interval` until the timer is dropped.
    [[nodiscard]] virtual Timer every(Duration interval, std::function<void()> task) = 0;

    /// Runs the loop in its default mode for `span`, serving what arrives, and sleeping in between.
    virtual void runFor(Duration span) = 0;

    /// The process is to end: from now on those who wait on the loop give up as if the person had stopped them.
    void endWaits() { mWaitsShallEnd = true; }
    bool waitsShallEnd() const { return mWaitsShallEnd; }

private:
    bool mWaitsShallEnd = false;
};

using Seconds = std::chrono::duration<double>;

/// A span of real seconds in the loop's own resolution.
inline RunLoop::Duration seconds(double value)
{
    return std::chrono::duration_cast<RunLoop::Duration>(Seconds(value));
}

} // namespace platform
