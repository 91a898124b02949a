#include <gtest/gtest.h>

#include "home/sync_times.h"
#include "tests/fakes/account_rig.h"
#include "tests/fakes/fake_run_loop.h"

namespace
{

using namespace roamer;

struct TimesRig : fakes::AccountRig {
    const std::string copy = networkHome + "/Library/Preferences/com.kestrel.roamer.plist";
    fakes::FakeRunLoop loop;
    SyncTimes times{preferences, homes, domains, loop};

    /// Saves the time, which stands in the local file whatever becomes of the copy.
    void save(const std::optional<std::string>& mountPoint)
    {
        times.saveSyncTime(mountPoint);
        preferences.invalidateRoamerPrefCache();
        EXPECT_EQ(preferences.getRoamerValue<Date>(kRoamerTime, std::nullopt), loop.date());
    }
};

TEST(SyncTimes, BothPlacesGetTheSameInstantAndKeepTheRest)
{
    TimesRig rig;
    rig.loop.runForSeconds(0.5);
    fakes::TempRoot::writeFile(rig.copy, "<plist version=\"1.0\"><dict><key>other</key><string>stays</string>"
                                         "<key>roamerTime</key><date>2020-01-01T00:00:00Z</date></dict></plist>");
    rig.prefer("mine", "stays");
    rig.save(rig.share);
    EXPECT_EQ(rig.preferences.getRoamerValue("mine"), PropertyList("stays"));
    EXPECT_EQ(rig.domains.dictionaryWithContentsOfFile(rig.copy),
              (Dictionary{{kRoamerTime, rig.loop.date()}, {"other", "stays"}}));
}

TEST(SyncTimes, ACopyThatIsDamagedOrCannotBeMade)
{
    TimesRig rig;
    fakes::TempRoot::writeFile(rig.copy, "damaged");
    rig.save(rig.share);
    EXPECT_EQ(rig.domains.dictionaryWithContentsOfFile(rig.copy), (Dictionary{{kRoamerTime, rig.loop.date()}}));

    std::filesystem::remove_all(rig.networkHome + "/Library");
    rig.loop.runForSeconds(60);
    rig.save(rig.share);
    EXPECT_EQ(rig.log.countContaining("Pavo.saveSyncTime can't write \"" + rig.copy), 1);
    EXPECT_FALSE(std::filesystem::exists(rig.networkHome + "/Library"));
    rig.loop.runForSeconds(60);
    rig.save(std::nullopt);
}

} // namespace
