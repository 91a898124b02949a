#include "home/home_unmount.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/fakes/fake_disk_service.h"
#include "tests/fakes/fake_effective_user.h"
#include "tests/fakes/recording_log.h"

namespace
{

using testing::ElementsAre;
using testing::HasSubstr;

TEST(HomeUnmount, ReportsWhatCannotBeFound)
{
    fakes::RecordingLog log;
    fakes::FakeDiskService disks;
    fakes::FakeEffectiveUser user(0, 501);
    roamer::HomeUnmount unmount(disks, user);
    EXPECT_EQ(unmount.unmountHome("/Volumes/other"), 0);
    disks.isPresent = false;
    EXPECT_EQ(unmount.unmountHome("/Volumes/other"), 0);
    EXPECT_EQ(unmount.unmountHome(std::nullopt), 0);
    EXPECT_THAT(log.system, ElementsAre(HasSubstr("nothing is mounted there"), HasSubstr("no disk service")));
    EXPECT_EQ(user.effective, 501U) << "put back on the ways out too";
}

TEST(HomeUnmount, ActsAsRootWhereItMay)
{
    struct Case {
        const char* name;
        unsigned realUser, effectiveUser, actsAs;
    };
    for (const auto& c : {Case{"root who acts as the user", 0, 501, 0}, Case{"a plain user", 501, 501, 501},
                          Case{"a user who acts as another", 501, 502, 502}}) {
        SCOPED_TRACE(c.name);
        fakes::FakeDiskService disks;
        fakes::FakeEffectiveUser user(c.realUser, c.effectiveUser);
        disks.mounted = {"/Volumes/homes"};
        disks.whileUnmounting = [&] { EXPECT_EQ(user.effective, c.actsAs); };
        EXPECT_EQ(roamer::HomeUnmount(disks, user).unmountHome("/Volumes/homes"), 0);
        EXPECT_THAT(disks.unmounted, ElementsAre("/Volumes/homes"));
        EXPECT_EQ(user.effective, c.effectiveUser);
    }
}

} // namespace
