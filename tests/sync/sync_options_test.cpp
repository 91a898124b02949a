#include <gtest/gtest.h>

#include <functional>
#include <memory>

#include "lists/sync_type.h"
#include "platform/linux/preference_store.h"
#include "platform/linux/property_list_codec.h"
#include "sync/sync_options.h"
#include "sync/sync_state.h"
#include "tests/fakes/fake_bundles.h"
#include "tests/fakes/fake_effective_user.h"
#include "tests/fakes/recording_log.h"
#include "tests/fakes/temp_root.h"
#include "tests/fakes/test_user_record.h"
#include "util/preference_domains.h"

namespace
{

using namespace roamer;

/// A peer that is only asked who it is.
class NamedPeer final : public platform::SyncPeer
{
public:
    explicit NamedPeer(const char* name) : mName(name) {}
    PropertyList peerRef() override { return mName; }
    void setInclusionSets(const std::vector<std::set<std::string>>&) override { FAIL() << "the options set no lists"; }
    void setExclusionSets(const std::vector<MatchRules>&) override { FAIL() << "the options set no lists"; }

private:
    const char* mName;
};

class SyncOptionsTest : public testing::Test
{
protected:
    /// The sync preferences hold exactly this.
    void prefer(const Dictionary& layer)
    {
        ASSERT_TRUE(mDomains.writePrefsInDomain(layer, kRoamerDomain, mHome));
        mPreferences.invalidateRoamerPrefCache();
    }
    Dictionary optionsFor(int conflictResolution, bool suppressErrors = false, unsigned index = 0)
    {
        return mOptions.getOptionsForSyncType(kLoginPrefSync, mLocal, mRemote, conflictResolution, suppressErrors,
                                              index);
    }

    fakes::TempRoot mRoot;
    fakes::RecordingLog mLog;
    const std::string mHome = mRoot.real("/home/jo").string();
    std::unique_ptr<platform::PropertyListCodec> mCodec = platform::makePropertyListCodec();
    std::unique_ptr<platform::PreferenceStore> mStore = platform::makePreferenceStore(*mCodec);
    PreferenceDomains mDomains{*mStore, *mCodec};
    fakes::FakeBundles mBundles;
    fakes::FakeEffectiveUser mEffectiveUser;
    std::optional<AmruVEXRecord> mRecord = fakes::makeUserRecord({{"axAttrTypeStandard:NFSHomeDirectory", mHome}});
    RoamerPreferences mPreferences{mRecord, mDomains, mBundles, mEffectiveUser};
    SyncOptions mOptions{mPreferences};
    NamedPeer mLocal{"local"};
    NamedPeer mRemote{"remote"};

private:
    void SetUp() override { std::filesystem::create_directories(mHome + "/Library"); }
};

TEST(SyncNames, UnknownNumbersShowTheNumber)
{
    EXPECT_EQ(syncTypeUTF8String(kAllSyncParts), "kAllSyncParts");
    EXPECT_EQ(syncTypeUTF8String(21), "UNKNOWN==21");
    EXPECT_EQ(syncTypeUTF8String(-1), "UNKNOWN==-1");
    EXPECT_EQ(syncStateUTF8String(SyncSetStateInvalid), "SyncSetStateInvalid");
    EXPECT_EQ(syncStateUTF8String(9), "UNKNOWN==9");
    EXPECT_EQ(syncStateUTF8String(-1), "UNKNOWN==-1");
}

/// Which key steers which types: with only this key in the preferences, exactly these types follow it.
struct KeyCase {
    const char* key;
    std::set<int> types;
};

void expectOnlyTypesFollow(const KeyCase& c, const std::function<bool(int type)>& follows)
{
    SCOPED_TRACE(c.key);
    std::set<int> following;
    for (int type = -1; type <= kAllSyncParts + 12; ++type) {
        if (follows(type)) following.insert(type);
    }
    EXPECT_EQ(following, c.types);
}

TEST_F(SyncOptionsTest, EachTypeFollowsItsOwnConflictKey)
{
    const KeyCase cases[] = {
        {kLoginPrefSyncConflictResolution, {0, 1}},       {kLoginNonprefSyncConflictResolution, {2}},
        {kLogoutPrefSyncConflictResolution, {8, 9}},      {kLogoutNonprefSyncConflictResolution, {10}},
        {kBackgroundConflictResolution, {3, 11, 16, 18}},
    };
    for (const auto& c : cases) {
        prefer({{c.key, "mobileHomeWins"}});
        expectOnlyTypesFollow(c, [&](int type) {
            const int resolution = mOptions.getConflictResolutionOverride(type, 77);
            EXPECT_TRUE(resolution == 77 || resolution == kLocalWinsConflicts);
            return resolution != 77;
        });
    }
}

TEST_F(SyncOptionsTest, EachTypeFollowsItsOwnErrorKey)
{
    const KeyCase cases[] = {
        {kLoginPrefSuppressErrors, {0, 1}},           {kLoginNonprefSuppressErrors, {2}},
        {kLogoutPrefSuppressErrors, {8, 9}},          {kLogoutNonprefSuppressErrors, {10}},
        {kBackgroundSuppressErrors, {3, 11, 16, 18}}, {kFirstSyncSuppressErrors, {4, 5, 6, 7, 12, 13, 14, 15}},
    };
    for (const auto& c : cases) {
        prefer({{c.key, true}});
        expectOnlyTypesFollow(c, [&](int type) { return mOptions.getSuppressErrorsOverride(type, false); });
        prefer({{c.key, false}});
        expectOnlyTypesFollow(c, [&](int type) { return !mOptions.getSuppressErrorsOverride(type, true); });
    }
}

TEST_F(SyncOptionsTest, EachTypeFollowsItsOwnSyncKey)
{
    const KeyCase cases[] = {
        {kSyncPreferencesAtLogin, {0, 1, 2}},   {kSyncBackgroundSetAtLogin, {3}},
        {kSyncPreferencesAtLogout, {8, 9, 10}}, {kSyncBackgroundSetAtLogout, {11}},
        {kSyncPreferencesInBackground, {17}},   {kSyncPreferencesAtSyncNow, {19}},
    };
    for (const auto& c : cases) {
        prefer({{c.key, "dontSync"}});
        expectOnlyTypesFollow(c, [&](int type) { return !mOptions.getShouldSyncOverride(type); });
    }
}

TEST_F(SyncOptionsTest, OnlyTheExactWordStopsASync)
{
    for (const PropertyList& value : {PropertyList("sync"), PropertyList("DontSync"), PropertyList("dontsync"),
                                      PropertyList(false), PropertyList(0), PropertyList("")}) {
        SCOPED_TRACE(value.description());
        prefer({{kSyncPreferencesAtLogin, value}});
        EXPECT_TRUE(mOptions.getShouldSyncOverride(kLoginSync));
    }
}

struct WordCase {
    PropertyList value;
    int expected;
};

TEST_F(SyncOptionsTest, ConflictWordsAreTakenExactly)
{
    constexpr int kDefault = 77;
    const WordCase cases[] = {
        {"showConflictDialogs", 0},
        {"mobileHomeWins", 1},
        {"networkHomeWins", 2},
        {"networkHomeCopy", 1003},
        {"mobileHomeCopy", 1005},
        {"NetworkHomeWins", kDefault},
        {"", kDefault},
        {"kCopyLocalAbort", kDefault},
        {1, kDefault},
        {true, kDefault},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.value.description());
        prefer({{kBackgroundConflictResolution, c.value}});
        EXPECT_EQ(mOptions.getConflictResolutionOverride(kPeriodicSync, kDefault), c.expected);
    }
}

struct ResolutionCase {
    int resolution;
    Dictionary expected; ///< Besides the index.
};

TEST_F(SyncOptionsTest, ResolutionsBecomeEngineOptions)
{
    constexpr const char* kFavor = "SyncOptionResolveConflictInFavorOfPeerKey";
    constexpr const char* kReadOnly = "SyncOptionPeerSyncPassReadOnlyKey";
    constexpr const char* kAbortOnWrite = "SyncOptionPeerAbortSyncPassOnWriteToReadOnlyKey";
    constexpr const char* kAbortOnConflict = "SyncOptionAbortSyncPassOnConflictKey";
    constexpr const char* kNoDialogs = "SyncOptionSuppressConflictDialogsKey";
    const ResolutionCase cases[] = {
        {kShowConflictDialogs, {}},
        {kLocalWinsConflicts, {{kFavor, "local"}}},
        {kNetworkWinsConflicts, {{kFavor, "remote"}}},
        {kCopyNetwork, {{kFavor, "remote"}, {kReadOnly, "remote"}}},
        {kCopyLocal, {{kFavor, "local"}, {kReadOnly, "local"}}},
        {kCopyNetworkAbort, {{kReadOnly, "remote"}, {kAbortOnWrite, "remote"}, {kAbortOnConflict, 1}, {kNoDialogs, 1}}},
        {kCopyLocalAbort, {{kReadOnly, "local"}, {kAbortOnWrite, "local"}, {kAbortOnConflict, 1}, {kNoDialogs, 1}}},
        {3, {}},
        {-1, {}},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.resolution);
        auto expected = c.expected;
        expected["SyncOptionExclusionInclusionSetIndexKey"] = 2;
        EXPECT_EQ(optionsFor(c.resolution, false, 2), expected);
        expected["SyncOptionSuppressErrorDialogsKey"] = 1;
        EXPECT_EQ(optionsFor(c.resolution, true, 2), expected);
    }
}

TEST_F(SyncOptionsTest, TellsTheLogWhatTheEngineIsGiven)
{
    const auto options = optionsFor(kLocalWinsConflicts);
    EXPECT_TRUE(mLog.has(2, "Pavo.getOptionsForSyncType:kLoginPrefSync conflict resolution value = 1."));
    EXPECT_TRUE(mLog.has(2, "Pavo.getOptionsForSyncType:kLoginPrefSync syncOptions = \"" +
                                PropertyList(options).description() + "\""));
}

} // namespace
