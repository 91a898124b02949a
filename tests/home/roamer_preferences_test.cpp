#include "home/roamer_preferences.h"

#include <gtest/gtest.h>

#include "platform/linux/bundle.h"
#include "platform/linux/preference_store.h"
#include "platform/linux/property_list_codec.h"
#include "tests/fakes/fake_effective_user.h"
#include "tests/fakes/recording_log.h"
#include "tests/fakes/temp_root.h"
#include "tests/fakes/test_user_record.h"

namespace roamer
{

namespace
{

class RoamerPreferencesTest : public testing::Test
{
protected:
    RoamerPreferencesTest() { std::filesystem::create_directories(home + "/Library"); }

    void setUserLayer(const Dictionary& dictionary)
    {
        ASSERT_TRUE(domains.writePrefsInDomain(dictionary, kRoamerDomain, home));
    }
    void setManagedLayer(const Dictionary& dictionary)
    {
        ASSERT_TRUE(domains.writeManagedPrefsInDomain(dictionary, kRoamerDomain, "jo"));
    }
    std::optional<Dictionary> userFile() const { return domains.dictionaryWithPrefsFromDomain(kRoamerDomain, home); }

    fakes::TempRoot root;
    fakes::RecordingLog log;
    const std::string home = root.real("/home/jo");
    std::unique_ptr<platform::PropertyListCodec> codec = platform::makePropertyListCodec();
    std::unique_ptr<platform::PreferenceStore> store = platform::makePreferenceStore(*codec);
    std::unique_ptr<platform::Bundles> bundles = platform::makeBundles(*codec);
    fakes::FakeEffectiveUser effectiveUser;
    PreferenceDomains domains{*store, *codec};
    std::optional<AmruVEXRecord> record =
        fakes::makeUserRecord({{"axAttrTypeStandard:RecordName", "jo"}, {"axAttrTypeStandard:NFSHomeDirectory", home}});
    RoamerPreferences preferences{record, domains, *bundles, effectiveUser};
};

} // namespace

TEST_F(RoamerPreferencesTest, TheManagedLayerWinsWholeAndForces)
{
    setUserLayer({{kPeriodicSyncOn, true}, {kSyncedFolders, Array{"~/Music"}}, {kIsNewMobileAccount, true}});
    setManagedLayer({{kPeriodicSyncOn, false}, {kSyncedFolders, Array{}}, {kSyncedFoldersManaged, "no array"}});

    EXPECT_FALSE(preferences.getRoamerBool(kPeriodicSyncOn, true));
    EXPECT_TRUE(preferences.roamerValueIsForced(kPeriodicSyncOn));
    EXPECT_EQ(preferences.getRoamerValue<Array>(kSyncedFolders, std::nullopt), Array{});
    EXPECT_TRUE(preferences.roamerValueIsForced(kSyncedFoldersManaged));
    EXPECT_EQ(preferences.getRoamerValue<Array>(kSyncedFoldersManaged, Array{"default"}), Array{"default"});

    EXPECT_TRUE(preferences.getRoamerBool(kIsNewMobileAccount, false));
    EXPECT_FALSE(preferences.roamerValueIsForced(kIsNewMobileAccount));
    EXPECT_EQ(preferences.getRoamerValue(kRoamerTime), std::nullopt);
}

TEST_F(RoamerPreferencesTest, ReadsBooleansAndNumbersAsTheyCome)
{
    setUserLayer({{"word", "NO"},
                  {"yes", "y"},
                  {"zero", 0},
                  {"minus", -3},
                  {"real", 2.5},
                  {"text", "30 s"},
                  {"list", Array{}},
                  {"large", std::int64_t{1} << 40}});
    for (const bool fallback : {true, false}) {
        EXPECT_FALSE(preferences.getRoamerBool("word", fallback));
        EXPECT_FALSE(preferences.getRoamerBool("zero", fallback));
        EXPECT_TRUE(preferences.getRoamerBool("yes", fallback));
        EXPECT_EQ(preferences.getRoamerBool("list", fallback), fallback);
        EXPECT_EQ(preferences.getRoamerBool("missing", fallback), fallback);
    }
    EXPECT_EQ(preferences.getRoamerInt("minus", 7), -3);
    EXPECT_EQ(preferences.getRoamerInt("real", 7), 2);
    EXPECT_EQ(preferences.getRoamerInt("text", 7), 30);
    EXPECT_EQ(preferences.getRoamerInt("list", 7), 7);
    EXPECT_EQ(preferences.getRoamerInt("missing", 7), 7);
    EXPECT_EQ(preferences.getRoamerInt("large", 7), std::numeric_limits<int>::max());
    EXPECT_EQ(preferences.getRoamerValue<double>("minus", 7.0), -3.0); // a number in either form
    EXPECT_EQ(preferences.getRoamerValue<double>("real", 7.0), 2.5);
    EXPECT_EQ(preferences.getRoamerValue<double>("text", 7.0), 7.0);
}

TEST_F(RoamerPreferencesTest, FilesAreReadOnceUntilInvalidated)
{
    EXPECT_TRUE(preferences.getRoamerBool(kPeriodicSyncOn, true)); // no file yet
    setUserLayer({{kPeriodicSyncOn, false}});
    setManagedLayer({{kRoamerCompleted, true}});
    EXPECT_TRUE(preferences.getRoamerBool(kPeriodicSyncOn, true));
    EXPECT_FALSE(preferences.roamerValueIsForced(kRoamerCompleted));
    preferences.invalidateRoamerPrefCache();
    EXPECT_FALSE(preferences.getRoamerBool(kPeriodicSyncOn, true));
    EXPECT_TRUE(preferences.roamerValueIsForced(kRoamerCompleted));
}

TEST_F(RoamerPreferencesTest, SettingWritesTheUserFileAndIsSeenAtOnce)
{
    setManagedLayer({{kIsNewMobileAccount, true}});
    const Date time = Date(std::chrono::milliseconds(1'764'000'000'250));
    preferences.setRoamerValue(PropertyList(time), kRoamerTime); // makes the file
    preferences.setRoamerBool(kRoamerCompleted, true);
    preferences.setRoamerBool(kIsNewMobileAccount, false);

    EXPECT_EQ(preferences.getRoamerValue<Date>(kRoamerTime, std::nullopt), time);
    EXPECT_TRUE(preferences.getRoamerBool(kRoamerCompleted, false));
    EXPECT_TRUE(preferences.getRoamerBool(kIsNewMobileAccount, false)); // still the managed value
    EXPECT_EQ(userFile(), (Dictionary{{kRoamerTime, time}, {kRoamerCompleted, true}, {kIsNewMobileAccount, false}}));

    preferences.setRoamerValue(std::nullopt, kRoamerTime);
    EXPECT_EQ(preferences.getRoamerValue(kRoamerTime), std::nullopt);
    EXPECT_EQ(userFile(), (Dictionary{{kRoamerCompleted, true}, {kIsNewMobileAccount, false}}));
    EXPECT_EQ(log.countContaining("euid is root"), 0);
}

TEST_F(RoamerPreferencesTest, AFailedWriteIsReportedAndTheValueStandsInMemory)
{
    std::filesystem::remove_all(home);
    testing::internal::CaptureStdout();
    preferences.setRoamerBool(kRoamerCompleted, true);
    testing::internal::GetCapturedStdout();
    EXPECT_TRUE(preferences.getRoamerBool(kRoamerCompleted, false));
    EXPECT_EQ(log.countContaining("VEXD.writePrefsInDomain"), 1);
}

TEST_F(RoamerPreferencesTest, TheSuperuserIsToldAndWritesAllTheSame)
{
    effectiveUser.effective = 0;
    preferences.setRoamerBool(kRoamerCompleted, true);
    EXPECT_TRUE(log.has(1, "Pavo.setRoamerVallue:roamerCompleted current euid is root"));
    EXPECT_EQ(userFile(), (Dictionary{{kRoamerCompleted, true}}));
}

TEST_F(RoamerPreferencesTest, WithoutAnAccountThereIsNothingToReadOrWrite)
{
    setUserLayer({{kPeriodicSyncOn, false}});
    record.reset();
    EXPECT_TRUE(preferences.getRoamerBool(kPeriodicSyncOn, true));
    preferences.setRoamerBool(kPeriodicSyncOn, true);
    EXPECT_FALSE(std::filesystem::exists(root.real("/Library/Preferences")));
    EXPECT_EQ(userFile(), (Dictionary{{kPeriodicSyncOn, false}}));
}

TEST_F(RoamerPreferencesTest, DefaultListsAreLookedForUntilTheyAreFound)
{
    EXPECT_EQ(preferences.getDefaultList(kExcludedAlways), std::nullopt);
    const auto file = root.real(std::string(platform::kCustodiaBundlePath) + "/Contents/Resources/PavoDefaults.plist");
    fakes::TempRoot::writeFile(file, "<plist><dict><key>excludedAlways</key><array><string>a</string></array>"
                                     "<key>syncedFolders</key><string>no list</string></dict></plist>");
    EXPECT_EQ(preferences.getDefaultList(kExcludedAlways), Array{"a"});
    std::filesystem::remove(file);
    EXPECT_EQ(preferences.getDefaultList(kExcludedAlways), Array{"a"}); // kept
    EXPECT_EQ(preferences.getDefaultList(kSyncedFolders), std::nullopt);
    EXPECT_EQ(preferences.getDefaultList("none"), std::nullopt);
}

} // namespace roamer
