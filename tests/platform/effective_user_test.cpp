#include "platform/linux/effective_user.h"

#include <algorithm>
#include <array>
#include <grp.h>
#include <gtest/gtest.h>
#include <unistd.h>
#include <vector>

#include "tests/fakes/recording_log.h"

namespace platform
{

namespace
{

constexpr unsigned kNobody = 65534;

std::vector<gid_t> groups()
{
    std::array<gid_t, 256> all{};
    const int count = getgroups(static_cast<int>(all.size()), all.data());
    return {all.begin(), all.begin() + std::max(count, 0)};
}

} // namespace

TEST(EffectiveUser, ActsAsAnotherWithItsGroupsAndComesBack)
{
    if (geteuid() != 0) GTEST_SKIP() << "only the superuser may act as others";
    const auto user = makeEffectiveUser();
    const auto groupsBefore = groups();
    const gid_t gidBefore = getegid();
    try {
        const auto guard = user->switchTo(kNobody);
        EXPECT_EQ(user->effectiveUid(), kNobody);
        EXPECT_EQ(user->realUid(), 0U);
        EXPECT_NE(getegid(), gidBefore);
        const auto now = groups();
        EXPECT_EQ(std::count(now.begin(), now.end(), 0U), 0); // no rights of the superuser's groups
        {
            const auto inner = user->switchTo(0);
            EXPECT_EQ(user->effectiveUid(), 0U);
        }
        EXPECT_EQ(user->effectiveUid(), kNobody);
        EXPECT_NE(getegid(), gidBefore);
        throw 1;
    } catch (int) {
    }
    EXPECT_EQ(user->effectiveUid(), 0U);
    EXPECT_EQ(getegid(), gidBefore);
    EXPECT_EQ(groups(), groupsBefore);
}

TEST(EffectiveUser, AUserTheSystemDoesNotKnowIsOnlyANumber)
{
    if (geteuid() != 0) GTEST_SKIP() << "only the superuser may act as others";
    const auto user = makeEffectiveUser();
    const auto guard = user->switchTo(3'999'999);
    EXPECT_EQ(user->effectiveUid(), 3'999'999U);
}

TEST(EffectiveUser, ASwitchThatIsNotAllowedIsLoggedAndTheWorkGoesOn)
{
    fakes::RecordingLog log;
    const auto user = makeEffectiveUser();
    {
        const auto same = user->switchTo(geteuid());
    }
    EXPECT_TRUE(log.lines.empty());

    // A child, because giving up the superuser's rights for good cannot be undone.
    EXPECT_EXIT(
        {
            if (geteuid() == 0 && setresuid(kNobody, kNobody, kNobody) != 0) std::exit(3);
            const unsigned before = user->effectiveUid();
            {
                const auto guard = user->switchTo(0);
                if (user->effectiveUid() != before) std::exit(2);
            }
            const bool isLogged = log.lines.size() == 1 && log.lines.front().level == 1;
            std::exit(isLogged && user->effectiveUid() == before ? 0 : 1);
        },
        testing::ExitedWithCode(0), "");
}

} // namespace platform
