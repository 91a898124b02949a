#pragma once

#include <string>

namespace platform
{

/// The desktop's settings program.
class SystemSettings
{
public:
    virtual ~SystemSettings() = default;
    /// Brings it up at an anchor of a pane; false (and a log line) when there is none to bring up.
    virtual bool revealSettingsAnchor(const std::string& paneId, const std::string& anchor) = 0;
};

} // namespace platform
