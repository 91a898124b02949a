#include "far_frame.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <climits>
#include <cstdint>
#include <cstring>
#include <poll.h>
#include <sys/socket.h>

#include "property_list_limits.h"

namespace platform::far
{

namespace
{

using Deadline = std::optional<Clock::time_point>;

/// Waits until the socket is ready for `events`.
Ending waitFor(const UniqueFd& socket, short events, Deadline deadline)
{
    for (;;) {
        int milliseconds = -1;
        if (deadline) {
            const auto left = std::chrono::ceil<std::chrono::milliseconds>(*deadline - Clock::now()).count();
            if (left <= 0) return Ending::Late;
            milliseconds = static_cast<int>(std::min<std::int64_t>(left, INT_MAX));
        }
        pollfd waited{socket.get(), events, 0};
        const int ready = poll(&waited, 1, milliseconds);
        if (ready > 0) return Ending::Done;
        if (ready < 0 && errno != EINTR) return Ending::Broken;
    }
}

/// Moves all of `bytes` with `step`, which is send or recv.
template <typename Bytes, typename Step>
Ending moveAll(const UniqueFd& socket, std::span<Bytes> bytes, short events, Deadline deadline, Step step)
{
    while (!bytes.empty()) {
        const ssize_t moved = step(socket.get(), bytes.data(), bytes.size(), MSG_DONTWAIT | MSG_NOSIGNAL);
        if (moved > 0) {
            bytes = bytes.subspan(static_cast<std::size_t>(moved));
        } else if (moved == 0 || (errno != EAGAIN && errno != EINTR)) {
            return Ending::Broken;
        } else if (const Ending ending = waitFor(socket, events, deadline); ending != Ending::Done) {
            return ending;
        }
    }
    return Ending::Done;
}

} // namespace

Ending sendFrame(const UniqueFd& socket, PropertyListCodec& codec, const roamer::Dictionary& values, Deadline deadline)
{
    const auto result = codec.serialise(values, PropertyListCodec::Format::Binary);
    const auto* body = std::get_if<roamer::Data>(&result);
    if (body == nullptr) return Ending::Broken;
    const auto size = static_cast<std::uint32_t>(body->size());
    roamer::Data frame(sizeof size);
    std::memcpy(frame.data(), &size, sizeof size);
    frame.insert(frame.end(), body->begin(), body->end());
    return moveAll(socket, std::span<const std::byte>(frame), POLLOUT, deadline, ::send);
}

Ending receiveFrame(const UniqueFd& socket, PropertyListCodec& codec, roamer::Dictionary& values, Deadline deadline)
{
    std::uint32_t size = 0;
    auto head = std::as_writable_bytes(std::span(&size, 1));
    if (const Ending ending = moveAll(socket, head, POLLIN, deadline, ::recv); ending != Ending::Done) return ending;
    if (size > kMaxPropertyListBytes) return Ending::Broken;
    roamer::Data body(size);
    if (const Ending ending = moveAll(socket, std::span(body), POLLIN, deadline, ::recv); ending != Ending::Done) {
        return ending;
    }
    auto parsed = codec.parse(body);
    auto* value = std::get_if<roamer::PropertyList>(&parsed);
    auto* dictionary = value != nullptr ? value->as<roamer::Dictionary>() : nullptr;
    if (dictionary == nullptr) return Ending::Broken;
    values = std::move(*dictionary);
    return Ending::Done;
}

} // namespace platform::far
