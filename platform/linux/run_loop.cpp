#include "run_loop.h"

#include <QCoreApplication>
#include <QEventLoop>
#include <QTimer>
#include <algorithm>

namespace platform
{

namespace
{

/// Whole milliseconds, never shorter than the span: a timer must not be early.
std::chrono::milliseconds roundedUp(RunLoop::Duration span)
{
    return std::max(std::chrono::ceil<std::chrono::milliseconds>(span), std::chrono::milliseconds::zero());
}

class QtRunLoop final : public RunLoop
{
public:
    Clock::time_point now() const override { return Clock::now(); }
    std::chrono::system_clock::time_point date() const override { return std::chrono::system_clock::now(); }

    Timer after(Duration delay, std::function<void()> task) override { return schedule(delay, true, std::move(task)); }
    Timer every(Duration interval, std::function<void()> task) override
    {
        return schedule(interval, false, std::move(task));
    }

    void runFor(Duration span) override
    {
        const auto end = now() + span;
        do {
            // A loop object, not processEvents: only it waits without spinning and deletes what asked to be deleted.
            QEventLoop loop;
            QTimer deadline;
            deadline.setSingleShot(true);
            deadline.setTimerType(Qt::PreciseTimer);
            QObject::connect(&deadline, &QTimer::timeout, &loop, &QEventLoop::quit);
            deadline.start(roundedUp(end - now()));
            loop.exec();
            // Somebody else may have ended all loops at once; the rest of the span is still to be waited for.
        } while (now() < end);
    }

private:
    static Timer schedule(Duration delay, bool once, std::function<void()> task)
    {
        auto* timer = new QTimer(QCoreApplication::instance());
        timer->setSingleShot(once);
        timer->setTimerType(Qt::PreciseTimer);
        const auto shared = std::make_shared<std::function<void()>>(std::move(task));
        // The copy keeps the task alive when it drops its own timer.
        QObject::connect(timer, &QTimer::timeout, timer, [shared] {
            const auto running = shared; // NOLINT(performance-unnecessary-copy-initialization)
            (*running)();
        });
        timer->start(roundedUp(delay));
        return Timer([timer] {
            timer->stop();
            timer->deleteLater();
        });
    }
};

} // namespace

std::unique_ptr<RunLoop> makeRunLoop()
{
    return std::make_unique<QtRunLoop>();
}

} // namespace platform
