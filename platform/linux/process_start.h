#pragma once

#include <string>
#include <vector>

namespace platform
{

/// A process started on its own feet: not a child of this one, in a session of its own, without its terminal and
/// descriptors, so that it goes on when this process ends and leaves no zombie.
class DetachedProcess
{
public:
    /// Runs `program` (a path as the kernel sees it) as this process's real user, with this process's environment and
    /// standard streams on /dev/null. Waits until it is executed, not longer.
    static DetachedProcess start(const std::string& program, const std::vector<std::string>& arguments);

    ~DetachedProcess();
    DetachedProcess(DetachedProcess&& other) noexcept;
    DetachedProcess& operator=(DetachedProcess&&) = delete;
    DetachedProcess(const DetachedProcess&) = delete;
    DetachedProcess& operator=(const DetachedProcess&) = delete;

    /// 0, or the errno of the step that failed.
    int error() const { return mError; }

    /// Whether it is known to have ended; false also when the kernel cannot tell.
    bool hasEnded() const;

private:
    DetachedProcess(int error, int descriptor) : mError(error), mDescriptor(descriptor) {}

    int mError;
    int mDescriptor;        ///< A pidfd, or -1.
    bool mHasEnded = false; ///< It was gone before there was a pidfd.
};

} // namespace platform
