#include "owner.h"

#include <array>
#include <grp.h>
#include <pwd.h>
#include <sys/stat.h>
#include <unistd.h>

namespace braid::cli
{

bool becomeOwnerOf(const std::filesystem::path& home)
{
    struct stat info {
    };
    if (geteuid() != 0 || stat(home.c_str(), &info) != 0 || info.st_uid == 0) return true;
    std::array<char, 16384> buffer{};
    passwd entry{};
    passwd* found = nullptr;
    const bool isKnown = getpwuid_r(info.st_uid, &entry, buffer.data(), buffer.size(), &found) == 0 && found != nullptr;
    const gid_t group = isKnown ? found->pw_gid : info.st_gid;
    if ((isKnown ? initgroups(found->pw_name, group) : setgroups(0, nullptr)) != 0) return false;
    return setgid(group) == 0 && setuid(info.st_uid) == 0;
}

} // namespace braid::cli
