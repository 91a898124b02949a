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

/// Identities out of tables; whoever is not in them fails with ENOENT. Counts what it is asked.
class FakeIdentityService final : public platform::IdentityService
{
public:
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
    int nameQuestions = 0;
    int idQuestions = 0;
    int membershipQuestions = 0;
    int randomUuids = 0;

    std::variant<platform::Uuid, Error> uuidOfUserName(const std::string& name) override
    {
        ++nameQuestions;
        return find(usersByName, name);
    }
    std::variant<platform::Uuid, Error> uuidOfUid(std::uint32_t uid) override
    {
        ++idQuestions;
        return find(usersByUid, uid);
    }
    std::variant<platform::Uuid, Error> uuidOfGid(std::uint32_t gid) override
    {
        ++idQuestions;
        return find(groupsByGid, gid);
    }
    std::variant<bool, Error> isMember(const platform::Uuid& user, std::uint32_t gid) override
    {
        ++membershipQuestions;
        if (membershipError != 0) return Error{membershipError, "no answer"};
        return memberships.contains({user, gid});
    }
    /// The first is 80 00 … 01, the next … 02.
    platform::Uuid randomUuid() override
    {
        auto value = uuid(static_cast<std::uint8_t>(++randomUuids));
        value.front() = 0x80;
        return value;
    }

private:
    template <typename Key>
    static std::variant<platform::Uuid, Error> find(const std::map<Key, platform::Uuid>& table, const Key& key)
    {
        const auto item = table.find(key);
        if (item == table.end()) return Error{ENOENT, "no such identity"};
        return item->second;
    }
};

} // namespace fakes
