#include "distributed_notifications.h"

#include <QDBusMessage>

#include "bus_connection.h"

namespace platform
{

namespace
{

/// One signal for all notifications; its argument is the notification's name.
class BusNotifications final : public DistributedNotifications
{
public:
    void post(const std::string& name) override
    {
        BusConnection bus(Bus::Session);
        auto signal = QDBusMessage::createSignal(QStringLiteral("/com/kestrel/DistributedNotifications"),
                                                 QStringLiteral("com.kestrel.DistributedNotifications"),
                                                 QStringLiteral("Posted"));
        signal << QString::fromStdString(name);
        if (bus.connection().send(signal)) bus.flush();
    }
};

} // namespace

std::unique_ptr<DistributedNotifications> makeDistributedNotifications()
{
    return std::make_unique<BusNotifications>();
}

} // namespace platform
