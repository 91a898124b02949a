#pragma once

#include <cerrno>
#include <cstdint>
#include <map>
#include <set>
#include <string>
#include <utility>
#include <variant>

#include "platform/identity_service.h"

namespace fakes
{

/// Identities out of tables; whoever is not in them fails with ENOENT.
class FakeIdentityService final : public platform::IdentityService
{
public:
    using Answer = std::variant<platform::Uuid, Error>;

    /// A UUID whose last byte tells one from the other.
    static platform::Uuid uuid(std::uint8_t last)
    {
        platform::Uuid value{};
        value.back() = last;
        return value;
    }

    std::map<std::string, platform::Uuid> usersByName;
    std::map<std::uint32_t, platform::Uuid> usersByUid;
    std::map<std::uint32_t, platform::Uuid> groupsByGid;
    std::set<std::pair<platform::Uuid, std::uint32_t>> memberships;
    int membershipError = 0; ///< Not 0: every membership question fails with this code.

    Answer uuidOfUserName(const std::string& name) override { return find(usersByName, name); }
    Answer uuidOfUid(std::uint32_t uid) override { return find(usersByUid, uid); }
    Answer uuidOfGid(std::uint32_t gid) override { return find(groupsByGid, gid); }
    std::variant<bool, Error> isMember(const platform::Uuid& user, std::uint32_t gid) override
    {
        if (membershipError != 0) return Error{membershipError, "no answer"};
        return memberships.contains({user, gid});
    }
    /// The first is 80 00 … 01, the next … 02.
    platform::Uuid randomUuid() override
    {
        auto value = uuid(++mRandomUuids);
        value.front() = 0x80;
        return value;
    }

private:
    template <typename Key>
    static Answer find(const std::map<Key, platform::Uuid>& table, const Key& key)
    {
        return table.contains(key) ? Answer(table.at(key)) : Error{ENOENT, "no such identity"};
    }

    std::uint8_t mRandomUuids = 0;
};

} // namespace fakes
