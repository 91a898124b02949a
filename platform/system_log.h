#pragma once

#include <string>

namespace platform
{

class SystemLog
{
public:
    virtual ~SystemLog() = default;
    /// One message at error priority.
    virtual void error(const std::string& text) = 0;
};

} // namespace platform
