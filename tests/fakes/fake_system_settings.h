#pragma once

#include <string>
#include <utility>
#include <vector>

#include "platform/system_settings.h"

namespace fakes
{

/// Remembers which pane and anchor were asked for.
class FakeSystemSettings final : public platform::SystemSettings
{
public:
    std::vector<std::pair<std::string, std::string>> revealed;

    bool revealSettingsAnchor(const std::string& paneId, const std::string& anchor) override
    {
        revealed.emplace_back(paneId, anchor);
        return true;
    }
};

} // namespace fakes
