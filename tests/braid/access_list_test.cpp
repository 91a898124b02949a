#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/xattr.h>

#include "braid/disk/descriptor.h"
#include "braid/disk/system.h"
#include "histories.h"
#include "history_world.h"
#include "home_pair.h"
#include "home_view.h"

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

/// Of an item in the local home, which a person is at.
Descriptor opened(const sim::Scene& scene, const char* name, int flags)
{
    return Descriptor{disk::system().open((scene.world().home(0) + name).c_str(), flags)};
}

TEST(AccessLists, AndLinksStayWhereAFileSystemInUserSpaceDropsThem)
{
    sim::History history;
    history.network.isInUserSpace = true;
    sim::Scene scene{history};
    const std::string list = listWith(4);
    scene.does({.verb = sim::Step::Verb::Write, .path = "file"});
    scene.does({.verb = sim::Step::Verb::MakeLink, .path = "link"});
    {
        const auto doing = scene.world().person();
        disk::system().fsetxattr(opened(scene, "/file", O_RDWR).number(), kAccess, list.data(), list.size());
    }
    for (const std::uint64_t mode : {0U, 0600U}) {
        // Has the pass look at what else there is.
        if (mode != 0) scene.does({.verb = sim::Step::Verb::SetMode, .home = 1, .path = "file", .number = mode});
        const PassReport report = scene.pass();
        EXPECT_TRUE(report.errors.empty()) << report.errors[0].message;
        const auto looking = scene.world().person();
        const Descriptor file = opened(scene, "/file", O_RDWR);
        EXPECT_EQ(disk::system().fgetxattr(file.number(), kAccess, nullptr, 0), std::ssize(list));
    }
}

TEST(Attributes, AreNotTakenAwayByAPassAfterTheClockWasTurnedBack)
{
    sim::History history;
    history.network.keepsAttributes = false;
    sim::Scene scene{history};
    const auto passAtOnce = [&] { return scene.world().pass(scene.settings(), {}); };
    scene.does({.verb = sim::Step::Verb::Write, .path = "A/a"});
    passAtOnce();
    scene.does({.verb = sim::Step::Verb::Write, .home = 1, .path = "A/b/c"});
    {
        const auto doing = scene.world().person();
        disk::system().fsetxattr(opened(scene, "/A", O_RDONLY).number(), "user.note", "x", 1);
    }
    scene.world().wait(-61'435'000'000'000);
    passAtOnce();
    EXPECT_EQ(writesOf(passAtOnce()), 0U);
    const auto looking = scene.world().person();
    EXPECT_EQ(disk::system().fgetxattr(opened(scene, "/A", O_RDONLY).number(), "user.note", nullptr, 0), 1);
}

} // namespace
} // namespace braid
