#include <cstddef>
#include <filesystem>
#include <memory>
#include <span>
#include <string>

#include <gtest/gtest.h>

#include "home/preference_keys.h"
#include "home/sync_times.h"
#include "platform/linux/file_system.h"
#include "platform/linux/preference_store.h"
#include "platform/linux/property_list_codec.h"
#include "tests/fakes/fake_bundles.h"
#include "tests/fakes/fake_effective_user.h"
#include "tests/fakes/fake_run_loop.h"
#include "tests/fakes/recording_log.h"
#include "tests/fakes/temp_root.h"
#include "tests/fakes/test_user_record.h"

namespace roamer
{

namespace
{

namespace fs = std::filesystem;

class SyncTimesTest : public testing::Test
{
protected:
    SyncTimesTest()
    {
        user = fakes::makePortableUserRecord();
        user->setValue(PropertyList(localHome.string()), "axAttrTypeStandard:NFSHomeDirectory");
        fs::create_directories(localHome / "Library/Preferences");
    }

    std::optional<Date> localTime()
    {
        preferences.invalidateRoamerPrefCache(); // what is on disk counts
        return preferences.getRoamerValue<Date>(kRoamerTime, std::nullopt);
    }

    fakes::RecordingLog log;
    fakes::TempRoot root;
    fs::path localHome = root.real("/home/jo");
    fs::path share = root.real("/srv/homes"); // the account's network home is "jo" in it
    fs::path copy = share / "jo/Library/Preferences/com.kestrel.roamer.plist";
    std::optional<AmruVEXRecord> user;
    std::unique_ptr<platform::FileSystem> fileSystem = platform::makeFileSystem();
    std::unique_ptr<platform::PropertyListCodec> codec = platform::makePropertyListCodec();
    std::unique_ptr<platform::PreferenceStore> store = platform::makePreferenceStore(*codec);
    fakes::FakeBundles bundles;
    fakes::FakeEffectiveUser effectiveUser;
    fakes::FakeRunLoop runLoop;
    PreferenceDomains files{*store, *codec};
    RoamerPreferences preferences{user, files, bundles, effectiveUser};
    HomeLocations homes{user, *fileSystem};
    SyncTimes times{preferences, homes, files, runLoop};
};

TEST_F(SyncTimesTest, BothPlacesGetTheSameInstantAndKeepTheRest)
{
    fakes::TempRoot::writeFile(copy, "<plist version=\"1.0\"><dict><key>other</key><string>stays</string>"
                                     "<key>homeChangeTime</key><date>2024-01-02T03:04:05Z</date>"
                                     "<key>roamerTime</key><date>2020-01-01T00:00:00Z</date></dict></plist>");
    preferences.setRoamerValue(PropertyList("stays"), "mine");
    runLoop.runForSeconds(0.5);

    times.saveSyncTime(share.string());

    EXPECT_EQ(localTime(), runLoop.date());
    EXPECT_EQ(preferences.getRoamerValue("mine"), PropertyList("stays"));
    const auto written = files.dictionaryWithContentsOfFile(copy.string());
    ASSERT_TRUE(written);
    EXPECT_EQ(written->at(kRoamerTime), PropertyList(runLoop.date()));
    EXPECT_EQ(written->at("other"), PropertyList("stays"));
    EXPECT_TRUE(written->contains(kHomeChangeTime));
    EXPECT_EQ(written->size(), 3U);
    EXPECT_TRUE(fakes::TempRoot::readFile(copy).starts_with("bplist00"));
    EXPECT_TRUE(log.has(2, "Pavo.saveSyncTime"));
    EXPECT_EQ(log.countContaining("can't"), 0);
}

TEST_F(SyncTimesTest, AMissingOrDamagedCopyIsStartedAnew)
{
    for (const auto* content : {"", "damaged"}) {
        SCOPED_TRACE(content);
        fakes::TempRoot::writeFile(copy, content);
        if (*content == '\0') fs::remove(copy);
        log.lines.clear();
        times.saveSyncTime(share.string());
        EXPECT_TRUE(log.has(1, "Pavo.saveSyncTime can't read \"" + copy.string() + "\""));
        EXPECT_EQ(log.countContaining("can't write"), 0);
        EXPECT_EQ(files.dictionaryWithContentsOfFile(copy.string()),
                  (Dictionary{{kRoamerTime, PropertyList(runLoop.date())}}));
    }
}

TEST_F(SyncTimesTest, WithoutTheNetworkFolderTheLocalTimeStands)
{
    fs::create_directories(share / "jo");
    times.saveSyncTime(share.string());
    EXPECT_TRUE(log.has(1, "Pavo.saveSyncTime can't read \"" + copy.string() + "\""));
    EXPECT_TRUE(log.has(1, "Pavo.saveSyncTime can't write \"" + copy.string() + "\""));
    EXPECT_FALSE(fs::exists(share / "jo/Library"));
    EXPECT_EQ(localTime(), runLoop.date());
}

TEST_F(SyncTimesTest, WithoutANetworkHomeTheLocalTimeStands)
{
    times.saveSyncTime(std::nullopt); // the record gives a share, but no path without it
    EXPECT_TRUE(log.has(1, "Pavo.saveSyncTime can't write \"(null)\""));
    EXPECT_EQ(localTime(), runLoop.date());
}

} // namespace

} // namespace roamer
