#pragma once

#include <memory>

#include "platform/effective_user.h"

namespace platform
{

/// The process's own effective user. A switch takes the user's group and supplementary groups along, so that files in
/// another's home are made and judged as that user's. It holds for every thread of the process.
std::unique_ptr<EffectiveUser> makeEffectiveUser();

} // namespace platform
