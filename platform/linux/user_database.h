#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace platform
{

struct UserEntry {
    std::string name;
    std::uint32_t uid = 0;
    std::uint32_t gid = 0;
    std::string realName; ///< "" when the database has none.
    std::string home;
};

struct GroupEntry {
    std::string name;
    std::uint32_t gid = 0;
};

/// No entry and error 0: there is none. Any other error is the errno value of a database that did not answer.
template <typename Entry>
struct DatabaseAnswer {
    std::optional<Entry> entry;
    int error = 0;
};

// The passwd and group databases, whatever the name service makes of them.
DatabaseAnswer<UserEntry> findUser(const std::string& name);
DatabaseAnswer<UserEntry> findUser(std::uint32_t uid);
DatabaseAnswer<GroupEntry> findGroup(const std::string& name);

/// The user's own group and all groups that list the user.
std::vector<std::uint32_t> groupsOf(const UserEntry& user);

/// The group of that gid on this system: the product's administrators, gid 80, are the members of "sudo" where there is
/// such a group; every other gid is itself.
std::uint32_t systemGroup(std::uint32_t gid);

} // namespace platform
