#pragma once

#include <QObject>
#include <QSocketNotifier>

#include <functional>
#include <memory>

#include "platform/linux/bus_connection.h"

namespace braid::agent
{

/// What ends the process: SIGTERM, SIGINT, and the loss of the bus, without which nobody can reach it.
class EndSignals final : public QObject
{
    Q_OBJECT

public:
    /// Keeps both signals from ending the process at once. Before any thread is started.
    static void block();

    /// `end` may be called several times, from the main event loop.
    EndSignals(platform::BusConnection& bus, std::function<void()> end);
    ~EndSignals() override;

private Q_SLOTS:
    void busLost();

private:
    void signalCame();

    std::function<void()> mEnd;
    int mDescriptor;
    std::unique_ptr<QSocketNotifier> mNotifier;
};

} // namespace braid::agent
