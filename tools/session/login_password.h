#pragma once

#include "platform/linux/unique_fd.h"
#include "platform/linux/user_database.h"
#include "secret.h"

namespace roamer::session
{

/// The read end of a pipe that holds the password and nothing else; no descriptor when it cannot be had.
platform::UniqueFd pipeWith(const Secret& password);

/// What mounts shares for the user's session gets the password, or loses it again. Only the superuser's business: for
/// everybody else nothing happens. A failure goes to the system log. The asking is done by a child process, so that
/// this one stays without threads.
void keepPasswordForSession(const platform::UserEntry& user, const Secret& password);
void dropPasswordOfSession(const platform::UserEntry& user);

} // namespace roamer::session
