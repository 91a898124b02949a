#include "power_service.h"

#include <QDBusMessage>

#include "sleep_inhibitor.h"

namespace platform
{

namespace
{

constexpr auto kScreenSaverService = "org.freedesktop.ScreenSaver";
constexpr auto kScreenSaverPath = "/org/freedesktop/ScreenSaver";

class LoginManagerPower final : public PowerService
{
public:
    bool registerForSystemPower(Handler handler) override
    {
        auto inhibitor = std::make_unique<SleepInhibitor>(std::move(handler));
        if (!inhibitor->start()) return false;
        mInhibitor = std::move(inhibitor);
        return true;
    }

    void answersChanged() override
    {
        if (mInhibitor != nullptr) mInhibitor->refreshVeto();
    }

    void reportUserActivity() override
    {
        BusConnection bus(Bus::Session);
        if (!bus.hasOwner(QString::fromLatin1(kScreenSaverService))) return;
        auto message = QDBusMessage::createMethodCall(
            QString::fromLatin1(kScreenSaverService), QString::fromLatin1(kScreenSaverPath),
            QString::fromLatin1(kScreenSaverService), QStringLiteral("SimulateUserActivity"));
        message.setAutoStartService(false);
        if (bus.connection().send(message)) bus.flush();
    }

private:
    std::unique_ptr<SleepInhibitor> mInhibitor;
};

} // namespace

std::unique_ptr<PowerService> makePowerService()
{
    return std::make_unique<LoginManagerPower>();
}

} // namespace platform
