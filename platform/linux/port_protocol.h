#pragma once

#include <QString>

namespace platform
{

/// How a named message port lies on the bus: the port's name is the bus name, and the interface of the object at the
/// port's path has the one method Message(i id, ay body) -> (ay body).
inline constexpr const char* kPortInterface = "com.kestrel.MessagePort";
inline constexpr const char* kPortMethod = "Message";
inline constexpr const char* kPortObjectPath = "/com/kestrel/MessagePort";

} // namespace platform
