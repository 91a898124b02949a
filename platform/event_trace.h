#pragma once

#include <cstdint>

namespace platform
{

class EventTrace
{
public:
    virtual ~EventTrace() = default;
    /// A record with this code and four zero arguments.
    virtual void trace(std::uint32_t code) = 0;
};

} // namespace platform
