#pragma once

#include <string>
#include <vector>

#include "platform/linux/user_database.h"

namespace roamer::session
{

/// "NAME=value" texts.
using Environment = std::vector<std::string>;

/// What the programs of a login or logout find. For the caller's own account everything that this process was given;
/// for somebody else's only who and where the user is, the language, the display and where the product lies. A set-uid
/// process passes nothing on. `busAddress` becomes the session's message bus; "" leaves it out.
Environment environmentFor(const platform::UserEntry& user, const std::string& busAddress);

/// The variable's value, "" when it is not set or this process must not believe its environment.
std::string trustedVariable(const char* name);

} // namespace roamer::session
