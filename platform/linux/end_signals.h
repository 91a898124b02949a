#pragma once

#include <functional>
#include <memory>

#include "platform/linux/unique_fd.h"

class QSocketNotifier;

namespace platform
{

/// SIGTERM, SIGINT and SIGHUP as a request to end instead of the end itself. One object per process.
class EndSignals
{
public:
    /// `end` is called from the main event loop, once for each signal. A process that has not ended half a minute after
    /// its first signal is ended by the kernel.
    explicit EndSignals(std::function<void()> end);
    ~EndSignals();
    EndSignals(const EndSignals&) = delete;
    EndSignals& operator=(const EndSignals&) = delete;

    /// Readable from the first signal on until `end` has been called, for those who wait without the event loop; -1
    /// when nobody catches the signals.
    static int pendingDescriptor();

private:
    void signalCame();

    UniqueFd mEvent;
    std::function<void()> mEnd;
    std::unique_ptr<QSocketNotifier> mNotifier;
};

} // namespace platform
