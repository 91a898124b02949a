#include "system_settings.h"

#include <QProcess>
#include <QStandardPaths>
#include <array>

#include "util/debug_log.h"

namespace platform
{

namespace
{

struct SettingsProgram {
    const char* desktop; ///< As in XDG_CURRENT_DESKTOP.
    const char* program;
    std::array<const char*, 2> arguments; ///< Null: no more.
};

/// Several for one desktop: its versions, newest first.
constexpr auto kSettingsPrograms = std::to_array<SettingsProgram>({
    {"GNOME", "gnome-control-center", {"system", "users"}},
    {"Unity", "unity-control-center", {"user-accounts"}},
    {"Budgie", "budgie-control-center", {"user-accounts"}},
    {"KDE", "systemsettings", {"kcm_users"}},
    {"KDE", "systemsettings5", {"kcm_users"}},
    {"X-Cinnamon", "cinnamon-settings", {"user"}},
    {"Cinnamon", "cinnamon-settings", {"user"}},
    {"MATE", "mate-about-me", {}},
    {"MATE", "mate-control-center", {}},
    {"XFCE", "xfce4-settings-manager", {}},
    {"LXQt", "lxqt-config", {}},
    {"Pantheon", "io.elementary.switchboard", {"settings://accounts"}},
    {"Deepin", "dde-control-center", {"--show=accounts"}},
});

QStringList argumentsOf(const SettingsProgram& program)
{
    QStringList arguments;
    for (const char* argument : program.arguments)
        if (argument != nullptr) arguments << QLatin1String(argument);
    return arguments;
}

class DesktopSettings final : public SystemSettings
{
public:
    bool revealSettingsAnchor(const std::string& paneId, const std::string& anchor) override
    {
        if (startFirst(true) || startFirst(false)) return true;
        roamer::DebugLog(1,
                         "SystemSettings.revealSettingsAnchor: no settings program is known for pane \"%s\", "
                         "anchor \"%s\" on the desktop \"%s\"",
                         paneId.c_str(), anchor.c_str(), qUtf8Printable(desktops().join(u':')));
        return false;
    }

private:
    static QStringList desktops() { return qEnvironmentVariable("XDG_CURRENT_DESKTOP").split(u':'); }

    static bool startFirst(bool ofThisDesktop)
    {
        const auto wanted = desktops();
        for (const auto& known : kSettingsPrograms) {
            if (ofThisDesktop && !wanted.contains(QLatin1String(known.desktop), Qt::CaseInsensitive)) continue;
            const auto path = QStandardPaths::findExecutable(QLatin1String(known.program));
            if (path.isEmpty() || !QProcess::startDetached(path, argumentsOf(known))) continue;
            roamer::DebugLog(2, "SystemSettings.revealSettingsAnchor: started \"%s\"", qUtf8Printable(path));
            return true;
        }
        return false;
    }
};

} // namespace

std::unique_ptr<SystemSettings> makeSystemSettings()
{
    return std::make_unique<DesktopSettings>();
}

} // namespace platform
