#pragma once

#include <memory>

#include "platform/identity_service.h"

namespace platform
{

/// Identities of the passwd and group databases. The UUIDs of users and groups are made from their ids, so the same id
/// has the same UUID at every time and on every computer.
std::unique_ptr<IdentityService> makeIdentityService();

} // namespace platform
