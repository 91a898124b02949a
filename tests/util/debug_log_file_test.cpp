#include "util/debug_log_file.h"

#include <gtest/gtest.h>

#include "platform/linux/log_host.h"
#include "platform/linux/property_list_codec.h"
#include "tests/fakes/recording_log.h"
#include "tests/fakes/temp_root.h"

namespace
{

using namespace roamer;
using fakes::TempRoot;

constexpr std::size_t kRollThreshold = 2'072'576;

class FakeLogHost final : public platform::LogHost
{
public:
    std::optional<std::string> effectiveUserHome() override { return home; }
    int processId() override { return 42; }
    std::string systemBuildVersion() override { return "12.5"; }
    std::tm localTime() override { return time; }
    void changeOwner(const std::string&, unsigned uid, unsigned gid) override { owner = {uid, gid}; }
    void runInShell(const std::string& command) override { real->runInShell(command); }

    std::unique_ptr<platform::LogHost> real = platform::makeLogHost();
    std::optional<std::string> home = "/home/jo";
    std::tm time{9, 3, 7, 6, 10, 100, 0, 0, 0, 0, nullptr}; // November 6th, 07:03:09
    std::pair<unsigned, unsigned> owner;
};

class DebugLogFile : public testing::Test
{
protected:
    /// Logs as one process would that finds this level file: each level once, from 0 to 3; the log afterwards.
    std::string run(const std::string& levelValue = "<string>1</string>")
    {
        TempRoot::writeFile(root.real(kDebugLevelFile),
                            "<plist><dict><key>debugOutput</key>" + levelValue + "</dict></plist>");
        return runWithFile();
    }
    std::string runWithFile()
    {
        FileLogTarget target({"Custodia", "1.2"}, host, log, *codec);
        auto* before = setLogTarget(&target);
        for (int level = 0; level <= 3; ++level)
            DebugLog(level, level == 1 ? "message %d\n" : "message %d", level); // a newline gets no second one
        setLogTarget(before);
        return TempRoot::readFile(root.real(kLogFile));
    }
    std::filesystem::path archive(const std::string& suffix) const { return root.real(kLogFile).string() + suffix; }
    static int modeOf(const std::filesystem::path& path)
    {
        return static_cast<int>(std::filesystem::status(path).permissions());
    }

    TempRoot root;
    fakes::RecordingLog log;
    FakeLogHost host;
    std::unique_ptr<platform::PropertyListCodec> codec = platform::makePropertyListCodec();
};

const std::string kBanner = "============================= Custodia-1.2 (12.5) (pid 42) starting Nov  6 07:03:09 "
                            "======================\n";
const std::string kStamp = "Nov  6 07:03:09[42]:";
const std::string k0 = kStamp + " message 0\n", k1 = kStamp + " message 1\n", k2 = kStamp + " message 2\n";
const std::string kStars0 = kStamp + std::string(17, '*') + " message 0\n";
const std::string kColons1 = kStamp + std::string(17, ':') + " message 1\n";

TEST_F(DebugLogFile, LevelsAndMasksDecideWhatIsWrittenAndHow)
{
    const std::pair<const char*, std::string> cases[] = {
        {"0", ""},
        {"1", k0 + k1},
        {"2", kStars0 + kColons1 + k2},
        {"2 or so", kStars0 + kColons1 + k2},
        {"256", kColons1},
        {"512", k2},
        {"-2", kStars0 + kColons1 + k2 + kStamp + " message 3\n"},
        {"-3", ""},
        {"-256", kColons1 + k2 + kStamp + " message 3\n"},
    };
    for (const auto& [level, expected] : cases) {
        std::filesystem::remove(root.real(kLogFile));
        const auto text = run("<string>" + std::string(level) + "</string>");
        EXPECT_EQ(text, kBanner + "ReadDebugLevel gDebugLevel = " + std::to_string(gDebugLevel) + "\n" + expected);
    }
    EXPECT_EQ(modeOf(root.real(kLogFile)), 0662);
    EXPECT_EQ(modeOf(root.real(kLogDirectory)), 0755);
    EXPECT_EQ(host.owner, std::pair(0U, 80U)) << "the log is the administrators'";
}

TEST_F(DebugLogFile, LevelFilesThatAreMissingOrBroken)
{
    runWithFile();
    EXPECT_TRUE(std::filesystem::is_empty(root.path())) << "without a level file nothing is touched";
    TempRoot::writeFile(root.real(kDebugLevelFile), "<plist><dict>");
    EXPECT_EQ(runWithFile(), "");
    ASSERT_EQ(log.system.size(), 1U);
    EXPECT_TRUE(log.system.front().starts_with("GetPListFromXMLFile: "));
    EXPECT_EQ(run("<integer>2</integer>"), kBanner + "******* ReadDebugLevel -bad key\n");
    EXPECT_EQ(gDebugLevel, kDebugLevelOff);
}

TEST_F(DebugLogFile, RollsOnlyAboveTheThresholdIntoTheFirstFreeSlot)
{
    TempRoot::writeFile(root.real(kLogFile), std::string(kRollThreshold, 'x'));
    EXPECT_GT(run().size(), kRollThreshold) << "and now it is larger";
    TempRoot::writeFile(archive(".0.gz"), "packed");
    TempRoot::writeFile(archive(".1"), "plain");
    EXPECT_TRUE(run().starts_with(kBanner));
    EXPECT_FALSE(std::filesystem::exists(archive(".2")));
    EXPECT_EQ(modeOf(archive(".2.gz")), 0640);
    EXPECT_EQ(TempRoot::readFile(archive(".0.gz")) + TempRoot::readFile(archive(".1")), "packedplain");

    const std::string old(kRollThreshold + 1, 'x');
    TempRoot::writeFile(root.real(kLogFile), old);
    for (int slot = 3; slot < 10; ++slot)
        TempRoot::writeFile(archive("." + std::to_string(slot) + ".gz"), "packed");
    EXPECT_TRUE(run().starts_with(old + kBanner)) << "with all slots taken the file grows on";
    EXPECT_EQ(log.system.size(), 1U);
}

TEST_F(DebugLogFile, TheShellSeesTheArchiveAsOneWord)
{
    const auto awkward = root.path() / "a b'; touch $HOME";
    setenv("ROAMER_ROOT", awkward.c_str(), 1);
    TempRoot::writeFile(awkward.string() + kLogFile, std::string(kRollThreshold + 1, 'x'));
    TempRoot::writeFile(awkward.string() + kDebugLevelFile,
                        "<plist><dict><key>debugOutput</key><string>1</string></dict></plist>");
    runWithFile();
    EXPECT_TRUE(std::filesystem::exists(awkward.string() + kLogFile + ".0.gz"));
    setenv("ROAMER_ROOT", root.path().c_str(), 1);
}

TEST_F(DebugLogFile, WithoutAUserTheLinesGoToStandardOutput)
{
    host.home.reset();
    testing::internal::CaptureStdout();
    run();
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "ReadDebugLevel gDebugLevel = 1\n" + k0 + k1);
}

} // namespace
