#pragma once

#include <QObject>
#include <QSocketNotifier>

#include <functional>
#include <memory>

#include "platform/linux/bus_connection.h"

namespace braid::agent
{

/// What ends the process: SIGTERM, SIGINT, and the loss of the bus, without which nobody can reach it; and what makes a
/// session's engine leave the home to a login's.
class EndSignals final : public QObject
{
    Q_OBJECT

public:
    enum class Wish { End, Leave };

    /// Keeps the signals from ending the process at once. Before any thread is started.
    static void block();
    /// The opposite, for a process that is about to become another program.
    static void unblock();

    /// `wished` may be called several times, from the main event loop.
    EndSignals(platform::BusConnection& bus, std::function<void(Wish)> wished);
    ~EndSignals() override;

private Q_SLOTS:
    void busLost();

private:
    void signalCame();

    std::function<void(Wish)> mWished;
    int mDescriptor;
    std::unique_ptr<QSocketNotifier> mNotifier;
};

} // namespace braid::agent
