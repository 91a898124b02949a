#include <cerrno>
#include <memory>
#include <string>
#include <variant>

#include <gtest/gtest.h>

#include "platform/linux/identity_service.h"

namespace platform
{

namespace
{

class IdentityServiceTest : public testing::Test
{
protected:
    std::unique_ptr<IdentityService> identity = makeIdentityService();
};

std::string hex(const Uuid& uuid)
{
    static constexpr char kDigits[] = "0123456789abcdef";
    std::string text;
    for (const auto byte : uuid) {
        text += kDigits[byte >> 4];
        text += kDigits[byte & 15];
    }
    return text;
}

TEST_F(IdentityServiceTest, UuidsAreMadeOfIdsAndNeverChange)
{
    const auto root = std::get<Uuid>(identity->uuidOfUserName("root"));
    EXPECT_EQ(root, std::get<Uuid>(identity->uuidOfUid(0)));
    EXPECT_EQ(root, std::get<Uuid>(makeIdentityService()->uuidOfUid(0)));
    EXPECT_NE(root, std::get<Uuid>(identity->uuidOfGid(0)));
    EXPECT_NE(root, std::get<Uuid>(identity->uuidOfUid(1)));
    // Stored by whoever asked: other values here would orphan what is kept under them.
    EXPECT_EQ(hex(root), "374e265546ec58aaa42c22f0eedfe92b");
    EXPECT_EQ(hex(std::get<Uuid>(identity->uuidOfGid(20))), "3d125b7a03b85353939f341dfe983960");
    EXPECT_NE(identity->randomUuid(), identity->randomUuid());
}

TEST_F(IdentityServiceTest, Membership)
{
    const auto root = std::get<Uuid>(identity->uuidOfUserName("root"));
    const auto daemon = std::get<Uuid>(identity->uuidOfUserName("daemon"));
    EXPECT_EQ(std::get<bool>(identity->isMember(root, 0)), true);
    EXPECT_EQ(std::get<bool>(identity->isMember(daemon, 1)), true);
    EXPECT_EQ(std::get<bool>(identity->isMember(daemon, 0)), false);
    EXPECT_EQ(std::get<bool>(identity->isMember(root, 4000000000U)), false);
}

TEST_F(IdentityServiceTest, WhoIsNotKnownIsAnError)
{
    const auto code = [](const auto& answer) { return std::get<IdentityService::Error>(answer).code; };
    EXPECT_EQ(code(identity->uuidOfUserName("no-such-login")), ENOENT);
    EXPECT_EQ(code(identity->uuidOfUserName("")), ENOENT);
    EXPECT_EQ(code(identity->isMember(identity->randomUuid(), 0)), ENOENT);
    const auto nobodys = std::get<Uuid>(identity->uuidOfUid(4000000000U));
    EXPECT_EQ(code(identity->isMember(nobodys, 0)), ENOENT) << "an id without an account is in no group";
    EXPECT_FALSE(std::get<IdentityService::Error>(identity->uuidOfUserName("no-such-login")).description.empty());
}

} // namespace

} // namespace platform
