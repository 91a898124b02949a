#include "event_trace.h"

#include <sys/sdt.h>

namespace platform
{

namespace
{

/// A probe that tracers can attach to (roamer:trace); a no-op instruction otherwise.
class ProbeTrace final : public EventTrace
{
public:
    void trace(std::uint32_t code) override { DTRACE_PROBE5(roamer, trace, code, 0, 0, 0, 0); }
};

} // namespace

std::unique_ptr<EventTrace> makeEventTrace()
{
    return std::make_unique<ProbeTrace>();
}

} // namespace platform
