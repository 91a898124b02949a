#pragma once

#include <optional>
#include <sys/types.h>

#include "secret.h"

namespace lobby
{

/// The passwords of logins, in the kernel's keyring of the user that this process is (root). They outlive the process,
/// and end with the machine.
class LoginPasswords
{
public:
    /// An errno value, or 0.
    static int keep(uid_t user, const Secret& password);
    static std::optional<Secret> find(uid_t user);
    /// An errno value, or 0; also when none was kept.
    static int drop(uid_t user);
};

} // namespace lobby
