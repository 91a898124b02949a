#pragma once

#include <filesystem>
#include <optional>
#include <string>

#include "braid/engine.h"

namespace braid
{

/// Removes what the local home remembers of earlier passes, recorded conflicts included; both markers and trashes stay.
/// The next pass compares everything anew and deletes nothing. In words why something is left.
std::optional<std::string> forgetPasses(const std::filesystem::path& localHome, const EngineLock& held);

} // namespace braid
