#pragma once

#include <QDBusMessage>
#include <QString>
#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

namespace platform
{

/// How a named message port lies on the bus: the port's name is the bus name, and the interface of the object at the
/// port's path has the methods Message(i id, ay body) -> (ay body) and, for requests that carry a secret or may be
/// cancelled, MessageWithDescriptor(i id, ay body, h descriptor) -> (ay body).
inline constexpr const char* kPortInterface = "com.kestrel.MessagePort";
inline constexpr const char* kPortMethod = "Message";
inline constexpr const char* kPortDescriptorMethod = "MessageWithDescriptor";
inline constexpr const char* kPortObjectPath = "/com/kestrel/MessagePort";

/// A call to the port. `descriptor` is duplicated into the message; below 0 there is none. Starts no service.
QDBusMessage portMessage(const std::string& portName, std::int32_t messageId, const std::vector<std::byte>& body,
                         int descriptor = -1);

/// The body of the port's reply.
std::vector<std::byte> portReplyBody(const QDBusMessage& reply);

} // namespace platform
