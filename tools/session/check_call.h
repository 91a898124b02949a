#pragma once

#include <chrono>
#include <cstdint>
#include <string>

#include "arguments.h"
#include "platform/linux/user_database.h"
#include "status_words.h"

namespace roamer::session
{

class UserProcess;

/// What came of a call to an agent.
struct CheckAnswer {
    enum class Outcome : std::uint8_t {
        Answered,
        NoBus,      ///< The message bus cannot be reached.
        NoAgent,    ///< No agent serves there.
        NotAnswered ///< It was asked and went away.
    };
    Outcome outcome = Outcome::NotAnswered;
    bool isComplete = false; ///< The check's out-flag.
    std::int32_t status = -1;
    std::string reason{}; ///< Of NotAnswered, in words; "" when it is not known.
    LeftOver left{};      ///< As it is after the answer.
};

struct CheckCall {
    Command command = Command::Login; ///< Login or Logout.
    bool firstTime = false;
    std::string busAddress;
    std::chrono::milliseconds patience{0}; ///< How long the agent may take to appear on the bus.
    bool endsAgent = false;                ///< The agent is told to quit after its answer.
};

/// Calls the agent on the bus and waits as long as the check takes. The call is made by a child process that has become
/// the user: a bus that a user controls speaks to nobody with other rights than that user's. `agent`, which may be
/// null, is the process that is to answer: its end ends the wait.
CheckAnswer callCheck(const platform::UserEntry& user, const CheckCall& call, UserProcess* agent);

} // namespace roamer::session
