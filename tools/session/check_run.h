#pragma once

#include "arguments.h"
#include "platform/linux/user_database.h"
#include "waiting_line.h"

namespace roamer::session
{

/// One login or logout of the user from the password to the last clean-up. Tells `line` how far it is, and gives up as
/// long as nothing has begun when nobody waits any more. Once it is under way, this process has left its terminal and
/// its standard streams.
Outcome runCheck(const Arguments& arguments, const platform::UserEntry& user, const WaitingLine& line);

} // namespace roamer::session
