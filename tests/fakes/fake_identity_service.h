#pragma once

#include <cerrno>

#include "platform/identity_service.h"

namespace fakes
{

/// Identities that nobody knows: every question about one fails.
class FakeIdentityService final : public platform::IdentityService
{
public:
    using Answer = std::variant<platform::Uuid, Error>;

    Answer uuidOfUserName(const std::string&) override { return mUnknown; }
    Answer uuidOfUid(std::uint32_t) override { return mUnknown; }
    Answer uuidOfGid(std::uint32_t) override { return mUnknown; }
    std::variant<bool, Error> isMember(const platform::Uuid&, std::uint32_t) override { return mUnknown; }
    platform::Uuid randomUuid() override { return {}; }

private:
    const Error mUnknown{ENOENT, "no such identity"};
};

} // namespace fakes
