#pragma once

#include <cstdint>
#include <string_view>
#include <sys/types.h>

namespace platform
{

/// For root, who starts logins: hands lobbyd the password of a login, with which it mounts that user's network home
/// until the password is dropped. lobbyd keeps it in the kernel, never in a file, and never gives it back. Both block
/// for at most five seconds, on any thread. 0, an errno value (EPERM: the caller is not root), or a negative code of
/// platform/message_port.h or util/lobby_notify.h when lobbyd is not there or does not answer.
///
/// The caller wipes its own copy of the password.
std::int32_t keepLoginPassword(uid_t user, std::string_view password);

/// To be called after the logout flow of the user's last session. 0 also when none was kept.
std::int32_t dropLoginPassword(uid_t user);

} // namespace platform
