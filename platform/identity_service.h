#pragma once

#include <array>
#include <cstdint>
#include <string>
#include <variant>

namespace platform
{

using Uuid = std::array<std::uint8_t, 16>;

/// Who users and groups are. Failures are codes of the service (errno values), never 0.
class IdentityService
{
public:
    struct Error {
        int code = 0;
        std::string description;
    };
    virtual ~IdentityService() = default;
    virtual std::variant<Uuid, Error> uuidOfUserName(const std::string& name) = 0;
    virtual std::variant<Uuid, Error> uuidOfUid(std::uint32_t uid) = 0;
    virtual std::variant<Uuid, Error> uuidOfGid(std::uint32_t gid) = 0;
    virtual std::variant<bool, Error> isMember(const Uuid& user, std::uint32_t gid) = 0;
    virtual Uuid randomUuid() = 0;
};

} // namespace platform
