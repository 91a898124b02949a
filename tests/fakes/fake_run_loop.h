#pragma once

#include <cstdint>
#include <map>

#include "platform/run_loop.h"

namespace fakes
{

/// A run loop on virtual time: running it for a week takes as long as its tasks do.
class FakeRunLoop final : public platform::RunLoop
{
public:
    /// The date at start, 2001-09-09 01:46:40 UTC; it moves with now().
    static constexpr auto kStart = std::chrono::system_clock::time_point(std::chrono::seconds(1'000'000'000));

    Clock::time_point now() const override { return mNow; }
    std::chrono::system_clock::time_point date() const override
    {
        return mStart + std::chrono::duration_cast<std::chrono::system_clock::duration>(mNow.time_since_epoch());
    }
    /// Puts the calendar forward or back, and leaves now() alone.
    void setDate(std::chrono::system_clock::time_point wanted) { mStart += wanted - date(); }
    double elapsedSeconds() const { return platform::Seconds(mNow - Clock::time_point{}).count(); }

    platform::Timer after(Duration delay, std::function<void()> task) override
    {
        return schedule(delay, Duration::zero(), std::move(task));
    }
    platform::Timer every(Duration interval, std::function<void()> task) override
    {
        return schedule(interval, interval, std::move(task));
    }

    /// Schedules without a handle: for tests that let something happen later.
    void at(double secondsFromNow, std::function<void()> task)
    {
        add(platform::seconds(secondsFromNow), Duration::zero(), std::move(task));
    }

    /// Runs what falls due, in order, including what those tasks add; slices may nest.
    void runFor(Duration span) override
    {
        const auto end = mNow + span;
        while (!mTasks.empty() && mTasks.begin()->first.first <= end) {
            auto due = mTasks.extract(mTasks.begin());
            mNow = std::max(mNow, due.key().first);
            const auto task = due.mapped();
            if (task.interval > Duration::zero()) {
                mTasks.emplace(Key{due.key().first + task.interval, due.key().second}, task);
            }
            task.run();
        }
        mNow = std::max(mNow, end);
    }
    void runForSeconds(double span) { runFor(platform::seconds(span)); }

private:
    using Key = std::pair<Clock::time_point, std::uint64_t>; // equal times run in the order asked
    struct Task {
        Duration interval;
        std::function<void()> run;
    };

    std::uint64_t add(Duration delay, Duration interval, std::function<void()> task)
    {
        mTasks.emplace(Key{mNow + delay, mSerial}, Task{interval, std::move(task)});
        return mSerial++;
    }
    platform::Timer schedule(Duration delay, Duration interval, std::function<void()> task)
    {
        const auto serial = add(delay, interval, std::move(task));
        return platform::Timer{[this, serial] {
            std::erase_if(mTasks, [serial](const auto& item) { return item.first.second == serial; });
        }};
    }

    std::map<Key, Task> mTasks;
    std::chrono::system_clock::time_point mStart = kStart;
    Clock::time_point mNow{};
    std::uint64_t mSerial = 0;
};

} // namespace fakes
