#pragma once

#include <cstdint>

namespace platform
{

/// Two more requests that the login session manager answers beside the mount: whether it holds the share at a path for
/// its clients, and to give one hold up. Request {"MountAt": path}, reply {"Error": 0 or an errno value}.
inline constexpr std::int32_t kLobbyIsHeldMessage = 1001;
inline constexpr std::int32_t kLobbyGiveUpMessage = 1002;

} // namespace platform
