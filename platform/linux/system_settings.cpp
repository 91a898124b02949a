#include "system_settings.h"

#include "util/debug_log.h"

namespace platform
{

namespace
{

class UnknownSystemSettings final : public SystemSettings
{
public:
    bool revealSettingsAnchor(const std::string& paneId, const std::string& anchor) override
    {
        roamer::DebugLog(
            1, "SystemSettings.revealSettingsAnchor: no settings program is known for pane \"%s\", anchor \"%s\"",
            paneId.c_str(), anchor.c_str());
        return false;
    }
};

} // namespace

std::unique_ptr<SystemSettings> makeSystemSettings()
{
    return std::make_unique<UnknownSystemSettings>();
}

} // namespace platform
