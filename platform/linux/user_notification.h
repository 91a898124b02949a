#pragma once

#include <memory>

#include "platform/property_list_codec.h"
#include "platform/user_notification.h"

namespace platform
{

/// Below the system root; see alert_protocol.h for what is said to it.
inline constexpr const char* kAlertProgramPath = "/System/Library/Hearth/Custodia.app/Contents/ZilOS/roamer-alert";

/// Shows each alert through a child process of its own. An alert that could not be shown or was not answered properly
/// is logged at level 1 and did not succeed. Borrows the codec.
std::unique_ptr<UserNotification> makeUserNotification(PropertyListCodec& codec);

} // namespace platform
