#include "user_database.h"

#include <algorithm>
#include <cerrno>
#include <grp.h>
#include <pwd.h>
#include <unistd.h>

namespace platform
{

namespace
{

constexpr std::size_t kFirstBuffer = 4096;
constexpr std::size_t kLargestBuffer = std::size_t{16} << 20; // a group may list tens of thousands of members
constexpr int kFirstGroups = 64;

/// Name services tell "no such entry" in several ways, see getpwnam_r(3).
bool meansNoEntry(int error)
{
    return error == 0 || error == ENOENT || error == ESRCH || error == EBADF || error == EPERM;
}

/// Calls a re-entrant look-up with a buffer that is large enough, and makes an Entry of what it finds.
template <typename Entry, typename Raw, typename LookUp, typename Convert>
DatabaseAnswer<Entry> find(LookUp lookUp, Convert convert)
{
    std::vector<char> buffer(kFirstBuffer);
    for (;;) {
        Raw raw{};
        Raw* found = nullptr;
        const int error = lookUp(&raw, buffer, &found);
        if (found != nullptr) return {convert(*found), 0};
        if (error == ERANGE && buffer.size() < kLargestBuffer) {
            buffer.resize(buffer.size() * 4);
        } else if (error != EINTR) {
            return {std::nullopt, meansNoEntry(error) ? 0 : error};
        }
    }
}

std::string textOf(const char* text)
{
    return text != nullptr ? text : "";
}

UserEntry userOf(const passwd& raw)
{
    // The field holds the name, then office and telephone after commas.
    auto realName = textOf(raw.pw_gecos);
    realName.resize(std::min(realName.find(','), realName.size()));
    return {.name = textOf(raw.pw_name),
            .uid = raw.pw_uid,
            .gid = raw.pw_gid,
            .realName = realName,
            .home = textOf(raw.pw_dir)};
}

} // namespace

DatabaseAnswer<UserEntry> findUser(const std::string& name)
{
    return find<UserEntry, passwd>(
        [&name](passwd* raw, std::vector<char>& buffer, passwd** found) {
            return getpwnam_r(name.c_str(), raw, buffer.data(), buffer.size(), found);
        },
        userOf);
}

DatabaseAnswer<UserEntry> findUser(std::uint32_t uid)
{
    return find<UserEntry, passwd>(
        [uid](passwd* raw, std::vector<char>& buffer, passwd** found) {
            return getpwuid_r(uid, raw, buffer.data(), buffer.size(), found);
        },
        userOf);
}

DatabaseAnswer<GroupEntry> findGroup(const std::string& name)
{
    return find<GroupEntry, group>(
        [&name](group* raw, std::vector<char>& buffer, group** found) {
            return getgrnam_r(name.c_str(), raw, buffer.data(), buffer.size(), found);
        },
        [](const group& raw) { return GroupEntry{.name = textOf(raw.gr_name), .gid = raw.gr_gid}; });
}

std::vector<std::uint32_t> groupsOf(const UserEntry& user)
{
    std::vector<gid_t> groups(kFirstGroups);
    for (;;) {
        int count = static_cast<int>(groups.size());
        const bool complete = getgrouplist(user.name.c_str(), user.gid, groups.data(), &count) >= 0;
        groups.resize(static_cast<std::size_t>(count));
        if (complete) return {groups.begin(), groups.end()};
    }
}

std::uint32_t systemGroup(std::uint32_t gid)
{
    constexpr std::uint32_t kProductAdministrators = 80;
    if (gid != kProductAdministrators) return gid;
    const auto administrators = findGroup("sudo");
    return administrators.entry ? administrators.entry->gid : gid;
}

} // namespace platform
