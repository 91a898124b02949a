#pragma once

#include <chrono>
#include <cstdint>
#include <optional>
#include <string>

#include "platform/linux/unique_fd.h"

namespace roamer::session
{

/// How far a login or logout has come.
enum class Phase : std::uint8_t {
    Preparing, ///< Nothing has begun: it can be given up without a trace.
    Queueing,  ///< As before; another login or logout of the user is under way.
    Syncing    ///< The agent is at work, and will finish whoever waits.
};

struct Outcome {
    bool mayGoOn = false;
    bool isTold = true; ///< Whether the person should hear of it.
    std::string words;
};

/// The line between the process that somebody waits for and the one that does the work and may outlive it.
class WaitingLine
{
public:
    struct Ends;
    static std::optional<Ends> open();

    // The working end.

    void tell(Phase phase) const;
    void tell(const Outcome& outcome) const;
    bool isWatched() const; ///< Whether anybody still waits.

    // The waiting end.

    struct Heard {
        Phase phase = Phase::Preparing;
        bool isOver = false; ///< There is an outcome, or the working end is gone without one.
        std::optional<Outcome> outcome;
    };
    /// Listens until it is over or `time` has passed; null: without limit.
    Heard listen(std::optional<std::chrono::seconds> time) const;

private:
    explicit WaitingLine(int descriptor) : mDescriptor(descriptor) {}

    platform::UniqueFd mDescriptor;
};

struct WaitingLine::Ends {
    WaitingLine working;
    WaitingLine waiting;
};

} // namespace roamer::session
