#include "identity_service.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <map>
#include <uuid/uuid.h>

#include "user_database.h"

namespace platform
{

namespace
{

/// Under which the UUIDs of ids are made. Never change it: other programs may have stored such UUIDs.
constexpr Uuid kIdNamespace = {0x6b, 0x1d, 0x7c, 0x0e, 0x52, 0xa9, 0x4f, 0x3b,
                               0x9e, 0x60, 0x2f, 0xc4, 0x8d, 0x15, 0xb7, 0x73};

Uuid uuidOfId(const char* kind, std::uint32_t id)
{
    const auto name = std::string(kind) + ":" + std::to_string(id);
    Uuid uuid{};
    uuid_generate_sha1(uuid.data(), kIdNamespace.data(), name.data(), name.size());
    return uuid;
}

IdentityService::Error failure(int code)
{
    return {code, std::strerror(code)};
}

class LinuxIdentityService final : public IdentityService
{
public:
    std::variant<Uuid, Error> uuidOfUserName(const std::string& name) override
    {
        const auto user = findUser(name);
        if (!user.entry) return failure(user.error != 0 ? user.error : ENOENT);
        return uuidOfUid(user.entry->uid);
    }

    std::variant<Uuid, Error> uuidOfUid(std::uint32_t uid) override
    {
        const auto uuid = uuidOfId("user", uid);
        mUsers[uuid] = uid;
        return uuid;
    }

    std::variant<Uuid, Error> uuidOfGid(std::uint32_t gid) override { return uuidOfId("group", gid); }

    std::variant<bool, Error> isMember(const Uuid& user, std::uint32_t gid) override
    {
        // A name-based UUID does not tell what it was made of.
        const auto known = mUsers.find(user);
        if (known == mUsers.end()) return failure(ENOENT);
        const auto found = findUser(known->second);
        if (!found.entry) return failure(found.error != 0 ? found.error : ENOENT);
        const auto groups = groupsOf(*found.entry);
        return std::find(groups.begin(), groups.end(), systemGroup(gid)) != groups.end();
    }

    Uuid randomUuid() override
    {
        Uuid uuid{};
        uuid_generate_random(uuid.data());
        return uuid;
    }

private:
    std::map<Uuid, std::uint32_t> mUsers; ///< Every user whose UUID was handed out.
};

} // namespace

std::unique_ptr<IdentityService> makeIdentityService()
{
    return std::make_unique<LinuxIdentityService>();
}

} // namespace platform
