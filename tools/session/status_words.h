#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

namespace roamer::session
{

/// Why something could not be done, and what can be done about it. Neither ends with a full stop.
struct StatusWords {
    std::string why; ///< With the status in brackets.
    std::string help;
};

/// Of a status of the agent, of a mount, or of a pass; never empty.
StatusWords wordsOf(std::int32_t status);

/// What a sync left for the person.
struct LeftOver {
    std::size_t conflicts = 0;
    std::size_t errors = 0;
    std::string closedFolder{}; ///< Of the local home, which may not be read and written; "" when all may be.
};

/// What a check came to, for the person who waits at the login window or reads the log.
struct Verdict {
    bool mayGoOn = false; ///< Whether the login or logout can go on as usual.
    bool isTold = true;   ///< Whether there is something that the person should hear of.
    std::string words;    ///< What happened, what is safe, and what to do.
};

/// `isComplete` is the check's flag that the sync ran to its end, or that there was nothing to sync.
Verdict verdictOf(std::int32_t status, bool isComplete, const LeftOver& left);

/// The same for what went wrong outside of the check.
Verdict failed(std::string_view why, std::string_view help);

} // namespace roamer::session
