#pragma once

#include <memory>

#include "platform/predicates.h"

namespace platform
{

/// The rules as the engine itself evaluates them.
std::unique_ptr<Predicates> makePredicates();

} // namespace platform
