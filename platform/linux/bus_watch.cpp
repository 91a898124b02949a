#include "bus_watch.h"

namespace platform
{

BusWatch::BusWatch(QDBusConnection& connection, std::function<void()> lost) : mLost(std::move(lost))
{
    connection.connect(QString(), QStringLiteral("/org/freedesktop/DBus/Local"),
                       QStringLiteral("org.freedesktop.DBus.Local"), QStringLiteral("Disconnected"), this,
                       SLOT(disconnected()));
}

void BusWatch::disconnected()
{
    if (mLost) mLost();
}

} // namespace platform
