#pragma once

#include <QDBusConnection>
#include <QObject>
#include <functional>

namespace platform
{

/// Calls `lost` when the bus of a connection goes away.
class BusWatch final : public QObject
{
    Q_OBJECT

public:
    BusWatch(QDBusConnection& connection, std::function<void()> lost);

private Q_SLOTS:
    void disconnected();

private:
    std::function<void()> mLost;
};

} // namespace platform
