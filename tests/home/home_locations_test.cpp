#include <gtest/gtest.h>
#include <sys/mount.h>

#include "platform/failure.h"
#include "tests/fakes/account_rig.h"

namespace
{

using namespace roamer;
using String = std::optional<std::string>;

TEST(HomeLocations, WhereTheNetworkHomeIs)
{
    constexpr const char* kAutomount = "/Network/Servers/srv/Users/jo";
    struct Case {
        const char* name;
        std::string location;
        String originalHome, url, path;
        String mounted; ///< When the share lies at "/m"; else the original home.
    } const cases[] = {
        {"the location counts", "<url>smb://srv/h</url><path>u/jo</path>", kAutomount, "smb://srv/h", "u/jo",
         "/m/u/jo"},
        {"without a path the share is the home", "<url>smb://srv/h</url>", {}, "smb://srv/h", {}, "/m"},
        {"an empty path is none", "<url>smb://srv/h</url><path></path>", {}, "smb://srv/h", {}, "/m"},
        {"an empty URL", "<url></url><path>x</path>", kAutomount, "nfs://srv/Users", "x", "/m/x"},
        {"escapes are undone", "<url>smb://srv/my%20h</url><path>a%2Fb</path>", {}, "smb://srv/my h", "a/b", "/m/a/b"},
        {"an automount path", "", kAutomount, "nfs://srv/Users", "jo", "/m/jo"},
        {"a deep one", "", "/Network/Servers/srv/Volumes/Homes/jo/", "nfs://srv/Volumes/Homes", "jo", "/m/jo"},
        {"a home that needs no mount", "", "/Users/jo", {}, "/Users/jo", "/Users/jo"},
        {"no network home", "", {}, {}, {}, {}},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        fakes::AccountRig rig;
        rig.setAccount(c.location);
        if (c.originalHome) rig.userRecord->setValue(*c.originalHome, "axAttrTypeStandard:OriginalNFSHomeDirectory");
        EXPECT_EQ(rig.homes.getOriginalUserHomeURL(), c.url);
        EXPECT_EQ(rig.homes.getOriginalUserHomePath(), c.path);
        EXPECT_EQ(rig.homes.getNetworkHomePath("/m"), c.mounted);
        EXPECT_EQ(rig.homes.getNetworkHomePath(std::nullopt), c.originalHome);
        rig.userRecord.reset();
        EXPECT_EQ(rig.homes.getNetworkHomePath("/m"), std::nullopt);
    }
}

TEST(HomeLocations, NoFolderStandsInForAShareThatIsNotMounted)
{
    fakes::AccountRig rig;
    const auto share = rig.root.real("/Volumes/homes");
    EXPECT_FALSE(rig.homes.makeDirectoryPath("/Volumes/homes/jo"));
    std::filesystem::create_directories(rig.root.real("/Volumes"));
    EXPECT_FALSE(rig.homes.makeDirectoryPath("/Volumes/homes/jo"));
    EXPECT_FALSE(std::filesystem::exists(share));
    std::filesystem::create_directories(share);
    EXPECT_FALSE(rig.homes.makeDirectoryPath("/Volumes/homes/jo")) << "a mount point that was left behind";
    EXPECT_FALSE(rig.homes.makeDirectoryPath("/Network/Servers/srv/jo"));

    if (mount("none", share.c_str(), "tmpfs", 0, nullptr) != 0) GTEST_SKIP() << "only the superuser mounts";
    EXPECT_TRUE(rig.homes.makeDirectoryPath("/Volumes/homes/deep/jo"));
    EXPECT_EQ(umount(share.c_str()), 0);
    ASSERT_EQ(mount(rig.share.c_str(), share.c_str(), nullptr, MS_BIND, nullptr), 0);
    EXPECT_TRUE(rig.homes.makeDirectoryPath("/Volumes/homes/new")) << "a part of the same disk, but mounted";
    EXPECT_EQ(umount(share.c_str()), 0);
}

/// A server that has just stopped answering.
class SilentFileSystem final : public platform::FileSystem
{
public:
    bool exists(const std::string&) override { return false; }
    bool isDirectory(const std::string&) override { return false; }
    std::optional<std::vector<std::string>> contentsOfDirectory(const std::string&) override { return std::nullopt; }
    bool directoryIsReadable(const std::string&) override { return false; }
    bool createDirectory(const std::string&) override { return false; }
    std::string displayName(const std::string& path) override { return path; }
    bool isPackage(const std::string&) override { return false; }
    bool answers(const std::string&) override { return false; }
};

TEST(HomeLocations, SilenceIsNoMissingMarker)
{
    SilentFileSystem silent;
    const std::optional<AmruVEXRecord> nobody;
    const HomeLocations homes(nobody, silent);
    EXPECT_THROW(homes.isValidNetworkHome("/m"), platform::Failure);
    EXPECT_FALSE(homes.makeDirectoryPath("/m"));
}

} // namespace
