#include "home/home_unmount.h"

#include <gmock/gmock.h>

#include "tests/fakes/recording_log.h"
#include "tests/fakes/small_services.h"

namespace
{

using testing::ElementsAre;
using testing::HasSubstr;

TEST(HomeUnmount, ActsAsRootWhereItMayAndReportsWhatCannotBeFound)
{
    const struct {
        const char* name;
        unsigned realUser, effectiveUser, actsAs;
    } cases[] = {
        {"root who acts as the user", 0, 501, 0},
        {"a plain user", 501, 501, 501},
        {"a user who acts as another", 501, 502, 502},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        fakes::RecordingLog log;
        fakes::FakeDiskService disks;
        fakes::FakeEffectiveUser user(c.realUser, c.effectiveUser);
        roamer::HomeUnmount unmount(disks, user);
        disks.mounted = {"/Volumes/homes"};
        disks.whileUnmounting = [&] { EXPECT_EQ(user.effective, c.actsAs); };
        EXPECT_EQ(unmount.unmountHome("/Volumes/homes"), 0);
        EXPECT_EQ(unmount.unmountHome("/Volumes/other"), 0);
        disks.isPresent = false;
        EXPECT_EQ(unmount.unmountHome("/Volumes/other"), 0);
        EXPECT_EQ(unmount.unmountHome(std::nullopt), 0);
        EXPECT_THAT(disks.unmounted, ElementsAre("/Volumes/homes"));
        EXPECT_THAT(log.system, ElementsAre(HasSubstr("nothing is mounted there"), HasSubstr("no disk service")));
        EXPECT_EQ(user.effective, c.effectiveUser) << "put back on the ways out too";
    }
}

} // namespace
