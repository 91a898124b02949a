#pragma once

#include <memory>

#include "platform/user_formats.h"

namespace platform
{

/// The settings of the locale that the environment names (LC_ALL, LC_NUMERIC, LANG), installed in the C library or not.
std::unique_ptr<UserFormats> makeUserFormats();

} // namespace platform
