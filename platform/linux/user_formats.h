#pragma once

#include <memory>

#include "platform/user_formats.h"

namespace platform
{

/// The settings of the locales that the environment names (LC_ALL, then LC_NUMERIC or LC_TIME, then LANG), installed in
/// the C library or not. The C library's own locale is neither used nor changed.
std::unique_ptr<UserFormats> makeUserFormats();

} // namespace platform
