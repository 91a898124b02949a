#include "braid/agent/sync_set_store.h"

#include <gtest/gtest.h>

#include <chrono>
#include <limits>

#include "braid/protocol.h"
#include "platform/linux/property_list_codec.h"
#include "tests/fakes/recording_log.h"
#include "tests/fakes/temp_root.h"

namespace
{

using namespace braid::agent;
namespace protocol = braid::protocol;
using roamer::Array;
using roamer::ComparisonForm;
using roamer::Dictionary;
using roamer::PropertyList;

SyncSet fullSet()
{
    SyncSet set;
    set.name = "Roamer_Mirror";
    set.remoteHomeXMLSpec = "file:///srv/homes%20of%20all";
    set.mountSuffixPath = "jo <&> \"ü\"";
    set.local.inclusions = {{"Library", ".config"}, {}};
    set.local.exclusions = {{{ComparisonForm::PathLike, "Library/Caches/*"}, {ComparisonForm::NameMatches, "a\\.b"}},
                            {}};
    set.remote = set.local;
    set.remote.exclusions[1] = {{ComparisonForm::PathEquals, "x"}};
    set.defaultSyncOptions = {{{"SyncOptionExclusionInclusionSetIndexKey", 1}, {"flag", true}}, {}};
    set.automaticSyncInterval = 62.5;
    set.autoSyncOnFileSystemModification = true;
    set.isAutomaticallySyncing = true;
    set.nextSyncTime = roamer::Date(std::chrono::seconds(1'900'000'001));
    return set;
}

class SyncSetFile : public testing::Test
{
protected:
    std::filesystem::path home() const
    {
        std::filesystem::create_directories(mRoot.real("/home"));
        return mRoot.real("/home");
    }
    std::filesystem::path file() const { return home() / ".Braid/sync_set.plist"; }

    fakes::TempRoot mRoot;
    fakes::RecordingLog mLog;
    std::unique_ptr<platform::PropertyListCodec> mCodec = platform::makePropertyListCodec();
    SyncSetStore mStore{*mCodec, home()};
};

TEST_F(SyncSetFile, AnotherEngineReadsWhatThisOneSaved)
{
    EXPECT_EQ(mStore.load(), std::nullopt);
    ASSERT_EQ(mStore.save(fullSet()), std::nullopt);
    EXPECT_EQ(SyncSetStore(*mCodec, home()).load(), fullSet());

    auto second = fullSet();
    second.remoteHomePath = "/Volumes/homes/jo";
    second.nextSyncTime.reset();
    ASSERT_EQ(mStore.save(second), std::nullopt);
    EXPECT_EQ(SyncSetStore(*mCodec, home()).load(), second);

    ASSERT_EQ(mStore.remove(), std::nullopt);
    EXPECT_EQ(mStore.load(), std::nullopt);
    EXPECT_EQ(mStore.remove(), std::nullopt) << "nothing to remove is no failure";
    EXPECT_TRUE(mLog.lines.empty());
}

TEST_F(SyncSetFile, DamagedFileCountsAsNoneAndIsKept)
{
    ASSERT_EQ(mStore.save(fullSet()), std::nullopt);
    const auto good = fakes::TempRoot::readFile(file());
    auto wrongType = good;
    wrongType.replace(wrongType.find("<true/>"), 7, "<string>yes</string>");
    auto unknownKey = good;
    unknownKey.replace(unknownKey.find("<key>name"), 9, "<key>game");
    auto later = good;
    later.replace(later.find("<integer>1</integer>", later.find(">version<")), 20, "<integer>2</integer>");

    const struct {
        const char* name;
        std::string content;
    } cases[] = {
        {"cut short", good.substr(0, good.size() / 2)},
        {"empty", ""},
        {"noise", std::string(200, '\xff')},
        {"another property list", "<plist version=\"1.0\"><array/></plist>"},
        {"a value of another type", wrongType},
        {"a key that no set has", unknownKey},
        {"of a later version", later},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        fakes::TempRoot::writeFile(file(), c.content);
        mLog.lines.clear();
        EXPECT_EQ(mStore.load(), std::nullopt);
        EXPECT_EQ(mLog.countContaining("set: unreadable"), 1);
        EXPECT_FALSE(std::filesystem::exists(file()));
        EXPECT_EQ(fakes::TempRoot::readFile(home() / ".Braid/sync_set.damaged.plist"), c.content);
        EXPECT_EQ(mStore.save(fullSet()), std::nullopt);
        EXPECT_EQ(mStore.load(), fullSet());
    }
}

TEST_F(SyncSetFile, UnwritableFolderLeavesTheEarlierFile)
{
    ASSERT_EQ(mStore.save(fullSet()), std::nullopt);
    // A folder in the place of the temporary file: works for root too.
    std::filesystem::create_directory(file().string() + ".new");
    auto second = fullSet();
    second.name = "another";
    EXPECT_NE(mStore.save(second), std::nullopt);
    EXPECT_EQ(mStore.load(), fullSet());

    SyncSetStore nowhere(*mCodec, home() / "missing");
    EXPECT_NE(nowhere.save(fullSet()), std::nullopt);
}

TEST(SyncSet, ImpossibleChangesAreRefusedAsAWhole)
{
    const Array oneRule{Array{Dictionary{{protocol::kRuleForm, "path ~~ %@"}, {protocol::kRuleValue, "x"}}}};
    const struct {
        const char* name;
        const char* key;
        PropertyList value;
    } cases[] = {
        {"unknown key", "nmae", "x"},
        {"number for a text", protocol::kName, 1},
        {"text for a flag", protocol::kIsAutomaticallySyncing, "1"},
        {"no interval", protocol::kAutomaticSyncInterval, 0},
        {"negative interval", protocol::kAutomaticSyncInterval, -5.0},
        {"endless interval", protocol::kAutomaticSyncInterval, std::numeric_limits<double>::infinity()},
        {"interval that is no number", protocol::kAutomaticSyncInterval, std::numeric_limits<double>::quiet_NaN()},
        {"time that the clock cannot hold", protocol::kNextSyncTime, 1e30},
        {"time before the clock", protocol::kNextSyncTime, -1.0},
        {"paths without jobs", protocol::kLocalInclusionSets, Array{"Library"}},
        {"a path that is a number", protocol::kLocalInclusionSets, Array{Array{1}}},
        {"unknown comparison", protocol::kLocalExclusionSets, oneRule},
        {"rule without a value", protocol::kRemoteExclusionSets,
         Array{Array{Dictionary{{protocol::kRuleForm, "path == %@"}}}}},
        {"options that are no dictionary", protocol::kDefaultSyncOptions, Array{"x"}},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        const auto result = changed(fullSet(), {{protocol::kMountSuffixPath, "new"}, {c.key, c.value}});
        ASSERT_TRUE(std::holds_alternative<std::string>(result));
        EXPECT_NE(std::get<std::string>(result).find(c.key), std::string::npos);
    }
}

TEST(SyncSet, TimesArriveAsSecondsAndMissingTextsAsEmptyOnes)
{
    const auto result = changed(fullSet(), {{protocol::kNextSyncTime, 1000.5}, {protocol::kRemoteHomeXMLSpec, ""}});
    const auto& set = std::get<SyncSet>(result);
    EXPECT_EQ(set.nextSyncTime, roamer::Date(std::chrono::milliseconds(1'000'500)));
    EXPECT_EQ(set.remoteHomeXMLSpec, std::nullopt);
    EXPECT_EQ(set.mountSuffixPath, fullSet().mountSuffixPath);
}

} // namespace
