#include "effective_user.h"

#include <cerrno>
#include <cstring>
#include <grp.h>
#include <pwd.h>
#include <unistd.h>
#include <vector>

#include "util/debug_log.h"
#include "util/format_text.h"
#include "util/report.h"

namespace platform
{

namespace
{

struct Identity {
    uid_t uid = 0;
    gid_t gid = 0;
    std::vector<gid_t> groups;
};

Identity currentIdentity()
{
    Identity identity{.uid = geteuid(), .gid = getegid(), .groups = {}};
    const int count = getgroups(0, nullptr);
    if (count > 0) {
        identity.groups.resize(static_cast<std::size_t>(count));
        const int got = getgroups(count, identity.groups.data());
        identity.groups.resize(got > 0 ? static_cast<std::size_t>(got) : 0);
    }
    return identity;
}

constexpr gid_t kNoGroup = 65534;

/// The user with the groups that the system knows for it; one that it does not know is a number in no real group.
Identity identityOfUser(uid_t uid)
{
    Identity identity{.uid = uid, .gid = kNoGroup, .groups = {}};
    std::vector<char> buffer(1024);
    passwd entry{};
    passwd* found = nullptr;
    while (getpwuid_r(uid, &entry, buffer.data(), buffer.size(), &found) == ERANGE && buffer.size() < (1U << 20))
        buffer.resize(buffer.size() * 2);
    if (found == nullptr) return identity;
    identity.gid = entry.pw_gid;
    int count = 32;
    identity.groups.resize(static_cast<std::size_t>(count));
    while (getgrouplist(entry.pw_name, entry.pw_gid, identity.groups.data(), &count) < 0)
        identity.groups.resize(static_cast<std::size_t>(count));
    identity.groups.resize(static_cast<std::size_t>(count));
    return identity;
}

/// Becomes the identity. False with errno set: the effective user is not the one asked for.
bool become(const Identity& identity)
{
    // Only the superuser may change groups, so the way to every other user leads through user 0 and sets the user last.
    if (geteuid() != 0 && seteuid(0) != 0) return seteuid(identity.uid) == 0 && geteuid() == identity.uid;
    if (setgroups(identity.groups.size(), identity.groups.data()) != 0 || setegid(identity.gid) != 0) return false;
    return seteuid(identity.uid) == 0 && geteuid() == identity.uid;
}

class LinuxEffectiveUser final : public EffectiveUser
{
public:
    unsigned effectiveUid() override { return geteuid(); }
    unsigned realUid() override { return getuid(); }

    Guard switchTo(unsigned uid) override
    {
        if (geteuid() == uid) return {};
        const Identity before = currentIdentity();
        if (!become(identityOfUser(uid))) {
            const int error = errno;
            putBack(before);
            roamer::DebugLog(1, "Pavo.switchTo cannot act as user %u: %s (%d); going on as user %u", uid,
                             std::strerror(error), error, geteuid());
            return {};
        }
        return Guard([before] { putBack(before); });
    }

private:
    static void putBack(const Identity& before)
    {
        const int savedErrno = errno;
        if (geteuid() != before.uid || getegid() != before.gid || currentIdentity().groups != before.groups) {
            if (!become(before)) {
                const int error = errno;
                // Whatever the groups are: never stay someone else, least of all the superuser.
                if (geteuid() != before.uid) static_cast<void>(seteuid(before.uid) == 0);
                roamer::report(roamer::formatText("Pavo.switchTo cannot fully become user %u again: %s; now user %u",
                                                  before.uid, std::strerror(error), geteuid()));
            }
        }
        errno = savedErrno;
    }
};

} // namespace

std::unique_ptr<EffectiveUser> makeEffectiveUser()
{
    return std::make_unique<LinuxEffectiveUser>();
}

} // namespace platform
