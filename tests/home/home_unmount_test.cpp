#include "home/home_unmount.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/fakes/fake_disk_service.h"
#include "tests/fakes/fake_effective_user.h"
#include "tests/fakes/recording_log.h"

namespace
{

using testing::AllOf;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::StartsWith;

TEST(HomeUnmount, AsksForTheUnmountAndSaysNothing)
{
    fakes::RecordingLog log;
    fakes::FakeDiskService disks;
    fakes::FakeEffectiveUser user;
    roamer::HomeUnmount unmount(disks, user);
    disks.mounted = {"/Volumes/homes"};
    EXPECT_EQ(unmount.unmountHome("/Volumes/homes"), 0);
    EXPECT_THAT(disks.unmounted, ElementsAre("/Volumes/homes"));
    EXPECT_EQ(unmount.unmountHome(std::nullopt), 0);
    EXPECT_EQ(disks.unmounted.size(), 1U);
    EXPECT_THAT(log.lines, IsEmpty());
}

TEST(HomeUnmount, ReportsWhatCannotBeFound)
{
    fakes::RecordingLog log;
    fakes::FakeDiskService disks;
    fakes::FakeEffectiveUser user(0, 501);
    roamer::HomeUnmount unmount(disks, user);
    EXPECT_EQ(unmount.unmountHome("/Volumes/other"), 0);
    disks.isPresent = false;
    EXPECT_EQ(unmount.unmountHome("/Volumes/other"), 0);
    EXPECT_THAT(log.system, ElementsAre(AllOf(StartsWith("Pavo.unmountHome()"), HasSubstr("/Volumes/other"),
                                              HasSubstr("nothing is mounted there")),
                                        AllOf(StartsWith("Pavo.unmountHome()"), HasSubstr("no disk service"))));
    EXPECT_THAT(disks.unmounted, IsEmpty());
    EXPECT_EQ(user.effective, 501U) << "put back on the ways out too";
}

struct UserCase {
    const char* name;
    unsigned realUser, effectiveUser, actsAs;
};

TEST(HomeUnmount, ActsAsRootWhereItMay)
{
    for (const auto& c : {UserCase{"root who acts as the user", 0, 501, 0}, UserCase{"a plain user", 501, 501, 501},
                          UserCase{"root already", 0, 0, 0}, UserCase{"a user who acts as another", 501, 502, 502}}) {
        SCOPED_TRACE(c.name);
        fakes::FakeDiskService disks;
        fakes::FakeEffectiveUser user(c.realUser, c.effectiveUser);
        disks.mounted = {"/Volumes/homes"};
        unsigned actedAs = 99;
        disks.whileUnmounting = [&] { actedAs = user.effective; };
        roamer::HomeUnmount(disks, user).unmountHome("/Volumes/homes");
        EXPECT_EQ(actedAs, c.actsAs);
        EXPECT_EQ(user.effective, c.effectiveUser);
    }
}

} // namespace
