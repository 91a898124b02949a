// What a sync set holds, how it is kept, and the jobs that a pass makes of it.

#include <gtest/gtest.h>

#include <sys/mount.h>

#include <cerrno>
#include <fstream>
#include <limits>

#include "braid/agent/pass_plan.h"
#include "braid/agent/sync_set_store.h"
#include "braid/archive/reserve.h"
#include "braid/disk/calls.h"
#include "braid/protocol.h"
#include "platform/linux/property_list_codec.h"
#include "platform/sync_engine.h"
#include "tests/fakes/recording_log.h"
#include "tests/fakes/temp_root.h"

namespace
{

using namespace braid::agent;
using braid::Job;
using braid::Peer;
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
    SyncSetFile() { std::filesystem::create_directories(mHome); }

    fakes::TempRoot mRoot;
    fakes::RecordingLog mLog;
    std::unique_ptr<platform::PropertyListCodec> mCodec = platform::makePropertyListCodec();
    const std::filesystem::path mHome = mRoot.real("/home"), mFile = mHome / ".Braid/sync_set.plist";
    SyncSetStore mStore{*mCodec, mHome};
};

struct Unmounting {
    std::filesystem::path at;
    ~Unmounting() { umount2(at.c_str(), MNT_DETACH); }
};

TEST_F(SyncSetFile, IsWrittenOnAFullDiskToo)
{
    if (mount("none", mHome.c_str(), "tmpfs", 0, "size=20m") != 0) GTEST_SKIP() << "only the superuser mounts";
    const Unmounting afterwards{mHome};
    SyncSet set = fullSet();
    EXPECT_EQ(mStore.save(set), std::nullopt);
    const auto folder = braid::disk::openTop(mFile.parent_path());
    braid::Reserve{folder->number()}.hold();
    std::ofstream filler{mHome / "filler"};
    while (filler << std::string(4096, 'x') << std::flush) {}
    set.name = std::string(6000, 'y');
    EXPECT_EQ(mStore.save(set), std::nullopt);
    EXPECT_EQ(mStore.load(), set);
    EXPECT_TRUE(std::filesystem::exists(mHome / ".Braid/reserve"));
}

TEST_F(SyncSetFile, DamagedFileCountsAsNoneAndIsKept)
{
    ASSERT_EQ(mStore.save(fullSet()), std::nullopt);
    const auto good = fakes::TempRoot::readFile(mFile);
    const auto with = [&good](const std::string& old, const char* text, std::size_t from = 0) {
        return std::string(good).replace(good.find(old, from), old.size(), text);
    };
    const std::pair<const char*, std::string> cases[] = {
        {"cut short", good.substr(0, good.size() / 2)},
        {"empty", ""},
        {"noise", std::string(200, '\xff')},
        {"another property list", "<plist version=\"1.0\"><array/></plist>"},
        {"a value of another type", with("<true/>", "<string>yes</string>")},
        {"a key that no set has", with("<key>name", "<key>game")},
        {"of a later version", with("<integer>1</integer>", "<integer>2</integer>", good.find(">version<"))},
    };
    for (const auto& [name, content] : cases) {
        SCOPED_TRACE(name);
        fakes::TempRoot::writeFile(mFile, content);
        EXPECT_EQ(mStore.load(), std::nullopt);
        EXPECT_FALSE(std::filesystem::exists(mFile));
        EXPECT_EQ(fakes::TempRoot::readFile(mHome / ".Braid/sync_set.damaged.plist"), content);
    }
    EXPECT_EQ(mLog.countContaining("set: unreadable"), static_cast<long>(std::size(cases)));
    EXPECT_EQ(mStore.save(fullSet()), std::nullopt);
    // A folder in the place of the temporary file: works for root too.
    std::filesystem::create_directory(mFile.string() + ".new");
    EXPECT_NE(mStore.save(SyncSet{}), std::nullopt);
    EXPECT_EQ(mStore.load(), fullSet()) << "a save that fails leaves the earlier file";
}

TEST(SyncSet, ImpossibleChangesAreRefusedAsAWhole)
{
    const Array oneRule{Array{Dictionary{{protocol::kRuleForm, "path ~~ %@"}, {protocol::kRuleValue, "x"}}}};
    const std::pair<const char*, PropertyList> cases[] = {
        {"nmae", "x"}, // no such key
        {protocol::kName, 1},
        {protocol::kIsAutomaticallySyncing, "1"},
        {protocol::kAutomaticSyncInterval, -5.0},
        {protocol::kAutomaticSyncInterval, std::numeric_limits<double>::quiet_NaN()},
        {protocol::kNextSyncTime, 1e30}, // the clock cannot hold it
        {protocol::kLocalInclusionSets, Array{Array{1}}},
        {protocol::kLocalExclusionSets, oneRule},
        {protocol::kRemoteExclusionSets, Array{Array{Dictionary{{protocol::kRuleForm, "path == %@"}}}}},
        {protocol::kDefaultSyncOptions, Array{"x"}},
    };
    for (const auto& [key, value] : cases) {
        const auto reason =
            std::get<std::string>(changed(fullSet(), {{protocol::kMountSuffixPath, "new"}, {key, value}}));
        EXPECT_NE(reason.find(key), std::string::npos) << value.description();
    }
}

Dictionary optionsOf(int index, Dictionary more = {})
{
    more[platform::kSyncOptionExclusionInclusionSetIndexKey] = index;
    return more;
}

SyncSet twoJobs()
{
    SyncSet set;
    set.local.inclusions = {{"Library"}, {}};
    set.local.exclusions = {{}, {{ComparisonForm::NameEndsWith, ".tmp"}}};
    set.remote = set.local;
    set.defaultSyncOptions = {optionsOf(0), optionsOf(1)};
    return set;
}

TEST(PassPlan, OptionsFindTheirJobByIndex)
{
    auto set = twoJobs();
    set.defaultSyncOptions = {
        optionsOf(1, {{platform::kSyncOptionResolveConflictInFavorOfPeerKey, protocol::kRemotePeerRef},
                      {platform::kSyncOptionSuppressErrorDialogsKey, 1}}),
        optionsOf(0, {{platform::kSyncOptionPeerSyncPassReadOnlyKey, protocol::kLocalPeerRef},
                      {platform::kSyncOptionPeerAbortSyncPassOnWriteToReadOnlyKey, protocol::kLocalPeerRef},
                      {platform::kSyncOptionAbortSyncPassOnConflictKey, 1},
                      {platform::kSyncOptionSuppressConflictDialogsKey, 1}}),
    };
    const auto result = jobsOf(set);
    const auto& jobs = std::get<std::vector<Job>>(result);
    ASSERT_EQ(jobs.size(), 2U);
    const auto &first = jobs[0].options, &second = jobs[1].options;
    EXPECT_EQ(jobs[0].inclusions, std::set<std::string>{"Library"});
    EXPECT_EQ(first.readOnlyPeer, Peer::Local);
    EXPECT_EQ(first.abortOnWriteToReadOnlyPeer, Peer::Local);
    EXPECT_TRUE(first.abortOnConflict && first.suppressConflictDialogs && !first.suppressErrorDialogs);

    ASSERT_EQ(jobs[1].exclusions.size(), 1U);
    EXPECT_EQ(jobs[1].exclusions[0].comparison(), braid::Comparison::NameEndsWith);
    EXPECT_EQ(jobs[1].exclusions[0].value(), ".tmp");
    EXPECT_EQ(second.resolveConflictsInFavorOf, Peer::Network);
    EXPECT_TRUE(!second.abortOnConflict && second.suppressErrorDialogs);
    EXPECT_TRUE(std::get<std::vector<Job>>(jobsOf(SyncSet{})).empty());
}

TEST(PassPlan, HalfConfiguredSetsAreRefused)
{
    const auto options = [](const char* key, const PropertyList& value) {
        return [=](SyncSet& set) { set.defaultSyncOptions[0] = optionsOf(0, {{key, value}}); };
    };
    const std::pair<const char*, std::function<void(SyncSet&)>> cases[] = {
        {"only one peer has the new lists", [](SyncSet& set) { set.local.inclusions[0] = {"Documents"}; }},
        {"fewer rule sets than jobs", [](SyncSet& set) { set.local.exclusions = set.remote.exclusions = {{}}; }},
        {"a job without options", [](SyncSet& set) { set.defaultSyncOptions.pop_back(); }},
        {"options for a job that is not there", [](SyncSet& set) { set.defaultSyncOptions.push_back(optionsOf(2)); }},
        {"two options for one job", [](SyncSet& set) { set.defaultSyncOptions[0] = optionsOf(1); }},
        {"an unknown peer", options(platform::kSyncOptionPeerSyncPassReadOnlyKey, "other")},
        {"an unknown option", options("ReadOnly", 1)},
        {"a malformed expression",
         [](SyncSet& set) {
             set.local.exclusions[0] = set.remote.exclusions[0] = {{ComparisonForm::NameMatches, "(["}};
         }},
    };
    for (const auto& [name, spoil] : cases) {
        auto set = twoJobs();
        spoil(set);
        EXPECT_EQ(std::get<Refusal>(jobsOf(set)).code, braid::kPassRefused) << name;
    }
}

} // namespace
