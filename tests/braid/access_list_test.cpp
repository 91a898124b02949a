#include <gtest/gtest.h>
#include <sys/xattr.h>

#include "home_pair.h"

namespace braid
{
namespace
{

constexpr char kAccess[] = "system.posix_acl_access";
constexpr char kDefault[] = "system.posix_acl_default";

/// The kernel's form of a list: rw for the owner, `rights` for the user 1234 and as the mask, nothing for others.
std::string listWith(char rights)
{
    std::string list{"\2\0\0\0", 4};
    const auto add = [&](char tag, char allowed, const std::string& who) {
        list += std::string{tag, '\0', allowed, '\0'} + who;
    };
    const std::string nobody(4, '\xff');
    add(1, 6, nobody);
    add(2, rights, std::string{"\xd2\x04\0\0", 4});
    add(4, 0, nobody);
    add(16, rights, nobody);
    add(32, 0, nobody);
    return list;
}

std::string attribute(const std::filesystem::path& item, const char* name)
{
    std::string value(256, '\0');
    const ssize_t size = ::getxattr(item.c_str(), name, value.data(), value.size());
    return size < 0 ? "none" : value.substr(0, static_cast<std::size_t>(size));
}

TEST(AccessLists, TravelWithTheirItems)
{
    const HomePair pair;
    write(pair.local() / "folder/file", "content");
    if (::setxattr((pair.local() / "folder/file").c_str(), kAccess, listWith(4).data(), listWith(4).size(), 0) != 0) {
        GTEST_SKIP() << "no access lists here";
    }
    setAttribute(pair.local() / "folder", kDefault, listWith(6));
    write(pair.local() / "folder/plain", "made before the default, so it has no list of its own");
    ::removexattr((pair.local() / "folder/plain").c_str(), kAccess);
    pair.sync();
    EXPECT_EQ(attribute(pair.network() / "folder/file", kAccess), listWith(4));
    EXPECT_EQ(attribute(pair.network() / "folder", kDefault), listWith(6));
    EXPECT_EQ(attribute(pair.network() / "folder/plain", kAccess), "none");

    setAttribute(pair.network() / "folder/file", kAccess, listWith(6));
    pair.sync();
    EXPECT_EQ(attribute(pair.local() / "folder/file", kAccess), listWith(6));
    ::removexattr((pair.local() / "folder").c_str(), kDefault);
    pair.sync();
    EXPECT_EQ(attribute(pair.network() / "folder", kDefault), "none");
    EXPECT_EQ(writesOf(pair.sync()), 0U);
}

} // namespace
} // namespace braid
