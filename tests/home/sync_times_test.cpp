#include <gtest/gtest.h>

#include "home/sync_times.h"
#include "tests/fakes/account_rig.h"
#include "tests/fakes/fake_run_loop.h"
#include "tests/fakes/temp_environment.h"

namespace
{

using namespace roamer;

struct TimesRig : fakes::AccountRig {
    const std::string copy = networkHome + "/Library/Preferences/com.kestrel.roamer.plist";
    fakes::FakeRunLoop loop;
    fakes::FakeUserFormats formats;
    SyncTimes times{preferences, homes, domains, loop, bundles, formats};

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
    fakes::TempRoot::writeFile(rig.copy, "damaged");
    rig.save(rig.share);
    EXPECT_EQ(rig.domains.dictionaryWithContentsOfFile(rig.copy), (Dictionary{{kRoamerTime, rig.loop.date()}}));
}

TEST(SyncTimes, TheCopyIsNotWrittenThroughLinksOutOfTheHome)
{
    const std::string copy = "/Library/Preferences/com.kestrel.roamer.plist";
    for (const std::string planted : {"", "/Library", "/Library/Preferences", copy.c_str()}) {
        SCOPED_TRACE(planted);
        TimesRig rig;
        const auto victim = rig.root.real("/srv/victim");
        fakes::TempRoot::writeFile(victim.string() + copy, "precious");
        std::filesystem::remove_all(rig.networkHome + planted);
        std::filesystem::create_symlink(victim.string() + planted, rig.networkHome + planted);
        rig.save(rig.share);
        EXPECT_EQ(fakes::TempRoot::readFile(victim.string() + copy), "precious");
        EXPECT_EQ(rig.log.countContaining("Pavo.saveSyncTime can't write"), 1);
    }
    TimesRig rig;
    std::filesystem::rename(rig.networkHome + "/Library", rig.networkHome + "/Moved");
    std::filesystem::create_symlink("Moved", rig.networkHome + "/Library");
    rig.save(rig.share);
    EXPECT_EQ(rig.log.countContaining("Pavo.saveSyncTime can't write"), 0) << "a link inside the home is the person's";
}

TEST(SyncTimes, WhetherTheNetworkHomeIsNewer)
{
    const fakes::TempEnvironment environment{{"TZ", "UTC0"}};
    constexpr const char* kUnknown = "(unknown)";
    struct Case {
        const char* name;
        std::optional<double> synced, changed; ///< Seconds from now.
        bool hasCopy, isNewer;
        std::string local, network;
    } const cases[] = {
        {"never synced", {}, 0, true, true, kUnknown, kUnknown},
        {"no copy", 0, {}, false, false, "Today at 12:00", kUnknown},
        {"a copy without the time", 0, {}, true, false, "Today at 12:00", kUnknown},
        {"the same instant", -86400, -86400, true, false, "Yesterday at 12:00", "Yesterday at 12:00"},
        {"a second later", -86400, -86399, true, true, "Yesterday at 12:00", "Yesterday at 12:00"},
        {"earlier", 0, -3 * 86400, true, false, "Today at 12:00", "11.05.26 12:00"},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        TimesRig rig;
        rig.loop.setDate(std::chrono::sys_days{std::chrono::May / 14 / 2026} + std::chrono::hours(12));
        const auto fromNow = [&](double span) {
            return PropertyList(rig.loop.date() + std::chrono::duration_cast<Date::duration>(platform::Seconds(span)));
        };
        if (c.synced) rig.prefer(kRoamerTime, fromNow(*c.synced));
        Dictionary copy{{kRoamerTime, fromNow(9999)}};
        if (c.changed) copy[kHomeChangeTime] = fromNow(*c.changed);
        if (c.hasCopy) {
            ASSERT_TRUE(rig.domains.writeInHome(copy, rig.networkHome, "Library/Preferences/com.kestrel.roamer.plist"));
        }
        std::string local, network;
        EXPECT_EQ(rig.times.isNetworkHomeNewer(rig.networkHome, local, network), c.isNewer);
        EXPECT_EQ(local, c.local);
        EXPECT_EQ(network, c.network);
    }
}

} // namespace
