#pragma once

#include <QObject>
#include <QVariantMap>

#include <chrono>
#include <functional>
#include <optional>

#include "platform/linux/bus_connection.h"
#include "values/property_list.h"

namespace roamer::ctl
{

/// Hears of the session engine's pass from its signals; asking now and then would miss a short one.
class PassWatcher : public QObject
{
    Q_OBJECT

public:
    /// Listens from now on.
    PassWatcher();

    /// Waits for the next pass to begin, so long at most and while `mayBegin`, and then for its end. The last status of
    /// it; nothing when none began or the engine went away in it. `onStatus` gets each status of a pass under way.
    /// `mayBegin` is asked about twice a second.
    std::optional<Dictionary> waitForPass(std::chrono::seconds patience,
                                          const std::function<void(const Dictionary&)>& onStatus,
                                          const std::function<bool()>& mayBegin);

    /// The last one in which the engine was at work; it has what failed.
    const Dictionary& lastBusyStatus() const { return mBusyStatus; }

    /// What the last pass came to: 0, -999 when it was aborted, else an error code; nothing without an answer.
    std::optional<std::int64_t> lastResult();

public Q_SLOTS:
    void takeStatus(qulonglong serial, const QVariantMap& status);

private:
    platform::BusConnection mBus;
    bool mHasBegun = false;
    bool mHasEnded = false;
    Dictionary mStatus;
    Dictionary mBusyStatus;
    std::function<void(const Dictionary&)> mOnStatus;
};

} // namespace roamer::ctl
