#pragma once

#include <memory>

#include "platform/identity_service.h"

namespace platform
{

/// Identities of the passwd and group databases. The UUIDs of users and groups are made from their ids, so the same id
/// has the same UUID at every time and on every computer, also one that no account has. Membership can be asked of
/// users whose UUID this service gave out; of others it is an error.
std::unique_ptr<IdentityService> makeIdentityService();

} // namespace platform
