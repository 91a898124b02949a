#pragma once

#include <sys/types.h>

#include <string>
#include <variant>

#include "platform/directory_service.h"

namespace braid::agent
{

struct NoHome {
    std::string reason; ///< In words.
};

/// The local home of the user this process runs for (`uid`): what the local directory record says, and without a record
/// the passwd database. A record that is there but cannot be read is no reason to sync another folder.
std::variant<std::string, NoHome> findLocalHome(platform::DirectoryService& directory, uid_t uid);

} // namespace braid::agent
