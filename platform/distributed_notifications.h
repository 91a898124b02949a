#pragma once

#include <string>

namespace platform
{

class DistributedNotifications
{
public:
    virtual ~DistributedNotifications() = default;

    /// Tells every interested process of the session at once. Without anyone to carry it, it is lost.
    virtual void post(const std::string& name) = 0;
};

} // namespace platform
