#pragma once

#include <functional>
#include <memory>
#include <string>

#include <QObject>

#include "agent_place.h"
#include "end_signals.h"
#include "platform/linux/bus_connection.h"
#include "platform/property_list_codec.h"
#include "platform/run_loop.h"

namespace braid::agent
{

/// BraidAgent's life: waits for its place at the home, serves on the bus, and ends when it is asked to.
class EngineProcess : public QObject
{
    Q_OBJECT

public:
    enum class End {
        Done,
        Failed,
        Again, ///< A session's engine that left the home to a login's: the program is to be started anew in this
               ///< process.
    };

    /// Borrows codec and bus. `startAnew` does what End::Again asks for, where a stuck pass keeps run() from coming
    /// back.
    EngineProcess(std::string localHome, AgentPlace::Kind kind, platform::PropertyListCodec& codec,
                  platform::BusConnection& bus, std::function<void()> startAnew);
    ~EngineProcess() override;

    End run();

private:
    struct Serving;

    void tryPlace();
    bool mayWait();
    void serve();
    void asked(EndSignals::Wish wish);
    void leaveBus();
    void finish(End end);

    const std::string mHome;
    const AgentPlace::Kind mKind;
    platform::PropertyListCodec& mCodec;
    platform::BusConnection& mBus;
    std::function<void()> mStartAnew;
    std::unique_ptr<platform::RunLoop> mRunLoop;
    AgentPlace mPlace;
    EndSignals mSignals;
    std::unique_ptr<Serving> mServing;
    platform::RunLoop::Clock::time_point mStarted;
    platform::Timer mTimer;    ///< The next try; later the end of all patience.
    platform::Timer mBusTimer; ///< When the name goes, whether the pass has ended or not.
    bool mHadToWait = false;
    bool mIsEnding = false;
    End mEnd = End::Done;
};

} // namespace braid::agent
