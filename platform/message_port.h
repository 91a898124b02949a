#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace platform
{

/// Request and reply over a named port. Usable from any thread; blocks the calling one.
class MessagePort
{
public:
    struct Reply {
        std::int32_t result = 0; ///< 0, or why the sending or the wait failed.
        std::optional<std::vector<std::byte>> data;
    };
    virtual ~MessagePort() = default;

    /// Null when nobody owns the port; then nothing was sent. Starts nothing.
    virtual std::optional<Reply> request(const std::string& portName, std::int32_t messageId,
                                         const std::vector<std::byte>& body, std::chrono::seconds sendTimeout,
                                         std::chrono::seconds replyTimeout) = 0;
};

inline constexpr std::int32_t kMessagePortSendTimeout = -1;
inline constexpr std::int32_t kMessagePortReceiveTimeout = -2;
inline constexpr std::int32_t kMessagePortTransportError = -4; ///< The port went away, or refused the message.

} // namespace platform
