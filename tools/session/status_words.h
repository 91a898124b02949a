#pragma once

#include <cstdint>
#include <string>

namespace roamer::session
{

/// What a check came to, for the person who waits at the login window or reads the log.
struct Verdict {
    bool mayGoOn = false; ///< Whether the login or logout can go on as usual.
    std::string words;    ///< Without a full stop; ends with the status in brackets.
};

/// `isComplete` is the check's flag that the sync ran to its end, or that there was nothing to sync.
Verdict verdictOf(std::int32_t status, bool isComplete);

} // namespace roamer::session
