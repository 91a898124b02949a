#pragma once

#include <cstddef>
#include <cstdint>

namespace platform
{

/// What the login session manager answers beside the mount (message 1000 of util/lobby_notify.h). Requests and replies
/// are dictionaries; every reply has "Error": 0 or an errno value.
///
/// A hold belongs to the calling process and ends with it; a share is unmounted when its last hold goes.
inline constexpr std::int32_t kLobbyIsHeldMessage = 1001; ///< {"MountAt"}: 0 when this process holds that share.
inline constexpr std::int32_t kLobbyGiveUpMessage = 1002; ///< {"MountAt"}: gives one hold of this process up.
/// {"MountAt": a path in a share}: one more hold on the share that was mounted for this user and has the path in it.
/// The reply's "MountAt" is where the share begins.
inline constexpr std::int32_t kLobbyHoldMessage = 1003;

/// With a descriptor: {"MountURL", "UserName", "Flags"}: mounts with that name and the password that is read from the
/// descriptor up to a NUL; an empty one means the credentials of the login. The sender keeps its end of the pipe open:
/// closing it before the reply cancels the mount.
inline constexpr std::int32_t kLobbyMountWithPasswordMessage = 1004;

/// With a descriptor, from root only: {"UserID"}: keeps the password that is read from the descriptor up to a NUL for
/// mounts of that user's network home.
inline constexpr std::int32_t kLobbyKeepPasswordMessage = 1005;
inline constexpr std::int32_t kLobbyDropPasswordMessage = 1006; ///< From root only: {"UserID"}: forgets it.

inline constexpr const char* kLobbyUserNameKey = "UserName";
inline constexpr const char* kLobbyUserIDKey = "UserID";

/// A longer password is refused.
inline constexpr std::size_t kLobbyLongestPassword = 1024;

} // namespace platform
