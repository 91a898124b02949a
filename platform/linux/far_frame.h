#pragma once

#include <chrono>
#include <optional>

#include "platform/property_list_codec.h"
#include "unique_fd.h"
#include "values/property_list.h"

namespace platform::far
{

using Clock = std::chrono::steady_clock;

enum class Ending {
    Done,
    Late,   ///< The deadline passed first.
    Broken, ///< The other side is gone, or what it sent is no frame.
};

/// Sends one dictionary on a stream socket. Without a deadline it waits as long as it takes. No signal is raised.
Ending sendFrame(const UniqueFd& socket, PropertyListCodec& codec, const roamer::Dictionary& values,
                 std::optional<Clock::time_point> deadline);

/// Receives one. `values` is set when the answer is Done.
Ending receiveFrame(const UniqueFd& socket, PropertyListCodec& codec, roamer::Dictionary& values,
                    std::optional<Clock::time_point> deadline);

} // namespace platform::far
