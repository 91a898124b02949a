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

PassSettings settingsIn(const sim::World& world)
{
    PassSettings settings;
    settings.localHome = world.home(0);
    settings.networkHome = world.home(1);
    settings.jobs.resize(1);
    return settings;
}

TEST(AccessLists, AndLinksStayWhereAFileSystemInUserSpaceDropsThem)
{
    sim::History history;
    history.network.isInUserSpace = true;
    const auto world = sim::World::make(history);
    const PassSettings settings = settingsIn(*world);
    const auto file = [&] { return Descriptor{disk::system().open((world->home(0) + "/file").c_str(), O_RDWR)}; };
    const std::string list = listWith(4);
    {
        const auto doing = world->person();
        sim::carryOut({.verb = sim::Step::Verb::Write, .path = "file"}, world->home(0));
        sim::carryOut({.verb = sim::Step::Verb::MakeLink, .path = "link"}, world->home(0));
        disk::system().fsetxattr(file().number(), kAccess, list.data(), list.size());
    }
    for (const std::uint64_t mode : {0U, 0600U}) {
        if (mode != 0) { // has the pass look at what else there is
            const auto doing = world->person();
            sim::carryOut({.verb = sim::Step::Verb::SetMode, .path = "file", .number = mode}, world->home(1));
        }
        world->wait(10'000'000'000);
        const PassReport report = world->pass(settings, {});
        EXPECT_TRUE(report.errors.empty()) << report.errors[0].message;
        const auto looking = world->person();
        EXPECT_EQ(disk::system().fgetxattr(file().number(), kAccess, nullptr, 0), std::ssize(list));
    }
}

TEST(Attributes, AreNotTakenAwayByAPassAfterTheClockWasTurnedBack)
{
    sim::History history;
    history.network.keepsAttributes = false;
    const auto world = sim::World::make(history);
    const PassSettings settings = settingsIn(*world);
    const auto does = [&](int home, const sim::Step& step) {
        const auto doing = world->person();
        sim::carryOut(step, world->home(home));
    };
    const auto folder = [&] { return Descriptor{disk::system().open((world->home(0) + "/A").c_str(), O_RDONLY)}; };
    does(0, {.verb = sim::Step::Verb::Write, .path = "A/a"});
    world->pass(settings, {});
    does(1, {.verb = sim::Step::Verb::Write, .path = "A/b/c"});
    {
        const auto doing = world->person();
        disk::system().fsetxattr(folder().number(), "user.note", "x", 1);
    }
    world->wait(-61'435'000'000'000);
    world->pass(settings, {});
    EXPECT_EQ(writesOf(world->pass(settings, {})), 0U);
    const auto looking = world->person();
    EXPECT_EQ(disk::system().fgetxattr(folder().number(), "user.note", nullptr, 0), 1);
}

} // namespace
} // namespace braid
