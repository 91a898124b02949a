#pragma once

#include <QDBusUnixFileDescriptor>
#include <QObject>
#include <string>

#include "bus_connection.h"
#include "platform/power_service.h"

namespace platform
{

/// The login manager's sleep locks, held by descriptors: "delay" gives the time to answer before a sleep, "block"
/// forbids it. Both go when this goes.
class SleepInhibitor final : public QObject
{
    Q_OBJECT

public:
    explicit SleepInhibitor(PowerService::Handler handler);

    /// False when there is no login manager to ask.
    bool start();

    /// Asks the handler and takes or drops the lock that forbids sleep.
    void refreshVeto();

private Q_SLOTS:
    void prepareForSleep(bool aboutToSleep);

private:
    /// An invalid descriptor when the login manager refuses.
    QDBusUnixFileDescriptor inhibit(const QString& mode);

    /// The administrator hears of the first refusal; a refused lock leaves sleep unmanaged for as long.
    void reportOnce(const std::string& problem);

    BusConnection mBus{Bus::System};
    PowerService::Handler mHandler;
    QDBusUnixFileDescriptor mDelay;
    QDBusUnixFileDescriptor mVeto;
    bool mSleepIsNear = false; ///< Between the notice of a sleep and its end.
    bool mHasReported = false;
};

} // namespace platform
