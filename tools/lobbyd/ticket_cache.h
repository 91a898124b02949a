#pragma once

#include <optional>
#include <string>

#include <sys/types.h>

namespace lobby
{

/// The newest file of Kerberos tickets in the folder that is the user's own: krb5cc_<uid>, alone or with something of
/// the login behind it.
std::optional<std::string> findTicketCache(const std::string& folder, uid_t user);

} // namespace lobby
