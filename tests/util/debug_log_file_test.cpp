#include "util/debug_log_file.h"

#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include "platform/linux/log_host.h"
#include "platform/linux/property_list_codec.h"
#include "tests/fakes/recording_log.h"
#include "tests/fakes/temp_root.h"

namespace roamer
{

namespace
{

constexpr std::size_t kRollThreshold = 2'072'576;

class FakeLogHost final : public platform::LogHost
{
public:
    std::optional<std::string> effectiveUserHome() override { return home; }
    int processId() override { return 42; }
    std::string systemBuildVersion() override { return "12.5"; }
    std::tm localTime() override { return time; }
    void changeOwner(const std::string& path, unsigned uid, unsigned gid) override
    {
        owners.push_back(path + " " + std::to_string(uid) + ":" + std::to_string(gid));
    }
    void runInShell(const std::string& command) override
    {
        commands.push_back(command);
        real->runInShell(command);
    }

    std::unique_ptr<platform::LogHost> real = platform::makeLogHost();
    std::optional<std::string> home = "/home/jo";
    std::tm time = [] {
        std::tm november{};
        november.tm_mon = 10;
        november.tm_mday = 6;
        november.tm_hour = 7;
        november.tm_min = 3;
        november.tm_sec = 9;
        return november;
    }();
    std::vector<std::string> owners;
    std::vector<std::string> commands;
};

class DebugLogFileTest : public testing::Test
{
protected:
    void writeLevelValue(const std::string& xmlValue)
    {
        fakes::TempRoot::writeFile(root.real(kDebugLevelFile),
                                   "<plist><dict><key>debugOutput</key>" + xmlValue + "</dict></plist>");
    }
    void writeLevel(const std::string& level) { writeLevelValue("<string>" + level + "</string>"); }

    /// Logs as one process would: each level once, from 0 to 3, then whatever else is asked.
    void runProcess(FileLogTarget::Program program = {"Custodia", "1.2"})
    {
        FileLogTarget target(std::move(program), host, log, *codec);
        auto* before = setLogTarget(&target);
        for (int level = 0; level <= 3; ++level)
            DebugLog(level, "message %d", level);
        setLogTarget(before);
    }

    std::string logText() const { return fakes::TempRoot::readFile(root.real(kLogFile)); }
    std::filesystem::path archive(const std::string& suffix) const { return root.real(kLogFile).string() + suffix; }

    fakes::TempRoot root;
    fakes::RecordingLog log;
    FakeLogHost host;
    std::unique_ptr<platform::PropertyListCodec> codec = platform::makePropertyListCodec();
};

const std::string kBanner = "============================= Custodia-1.2 (12.5) (pid 42) starting Nov  6 07:03:09 "
                            "======================\n";
const std::string kPlain = "Nov  6 07:03:09[42]: ";
const std::string kStars = "Nov  6 07:03:09[42]:***************** ";
const std::string kColons = "Nov  6 07:03:09[42]:::::::::::::::::: ";

struct LevelCase {
    const char* level;
    std::string expected;
};

const LevelCase kLevels[] = {
    {"0", ""},
    {"1", kPlain + "message 0\n" + kPlain + "message 1\n"},
    {"2", kStars + "message 0\n" + kColons + "message 1\n" + kPlain + "message 2\n"},
    {"2 or so", kStars + "message 0\n" + kColons + "message 1\n" + kPlain + "message 2\n"},
    {"256", kColons + "message 1\n"},
    {"512", kPlain + "message 2\n"},
    {"1536", kPlain + "message 2\n" + kPlain + "message 3\n"},
    {"-2", kStars + "message 0\n" + kColons + "message 1\n" + kPlain + "message 2\n" + kPlain + "message 3\n"},
    {"-3", ""},
    {"-256", kColons + "message 1\n" + kPlain + "message 2\n" + kPlain + "message 3\n"},
};

} // namespace

TEST_F(DebugLogFileTest, WithoutALevelFileNothingIsTouched)
{
    runProcess();
    EXPECT_TRUE(std::filesystem::is_empty(root.path()));
    EXPECT_TRUE(log.system.empty());
}

TEST_F(DebugLogFileTest, LevelsAndMasksDecideWhatIsWrittenAndHow)
{
    for (const auto& c : kLevels) {
        SCOPED_TRACE(c.level);
        std::filesystem::remove(root.real(kLogFile));
        writeLevel(c.level);
        runProcess();
        EXPECT_EQ(logText(),
                  kBanner + "ReadDebugLevel gDebugLevel = " + std::to_string(gDebugLevel) + "\n" + c.expected);
    }
}

TEST_F(DebugLogFileTest, TheMarkForUnreadAsALevelIsReadAgainForEachMessage)
{
    writeLevel("-1");
    runProcess();
    const std::string line = "ReadDebugLevel gDebugLevel = -1\n";
    EXPECT_EQ(logText(), kBanner + line + line + line + line);
}

TEST_F(DebugLogFileTest, ALevelThatIsNoStringIsABadKeyAndTurnsTheLogOff)
{
    writeLevelValue("<integer>2</integer>");
    runProcess();
    EXPECT_EQ(logText(), kBanner + "******* ReadDebugLevel -bad key\n");
    EXPECT_EQ(gDebugLevel, kDebugLevelOff);
}

TEST_F(DebugLogFileTest, ABrokenLevelFileGoesToTheSystemLogOnly)
{
    fakes::TempRoot::writeFile(root.real(kDebugLevelFile), "<plist><array/></plist>");
    runProcess();
    EXPECT_TRUE(log.system.empty());
    fakes::TempRoot::writeFile(root.real(kDebugLevelFile), "<plist><dict>");
    runProcess();
    ASSERT_EQ(log.system.size(), 1U);
    EXPECT_TRUE(log.system.front().starts_with("GetPListFromXMLFile: "));
    EXPECT_FALSE(std::filesystem::exists(root.real(kLogFile)));
}

TEST_F(DebugLogFileTest, AMessageWithANewlineGetsNoSecondOne)
{
    writeLevel("1");
    FileLogTarget target({}, host, log, *codec);
    auto* before = setLogTarget(&target);
    DebugLog(1, "with\n");
    DebugLog(1, "100%% %s", "without");
    setLogTarget(before);
    EXPECT_TRUE(logText().ends_with(kPlain + "with\n" + kPlain + "100% without\n"));
    EXPECT_TRUE(logText().starts_with(std::string(100, '=') + "\nRead")); // no name, no version
}

TEST_F(DebugLogFileTest, TheLogBelongsToTheAdministrators)
{
    writeLevel("1");
    runProcess();
    struct stat info {
    };
    ASSERT_EQ(stat(root.real(kLogFile).c_str(), &info), 0);
    EXPECT_EQ(info.st_mode & 07777U, 0662U);
    EXPECT_EQ(host.owners, std::vector<std::string>{root.real(kLogFile).string() + " 0:80"});
    ASSERT_EQ(stat(root.real(kLogDirectory).c_str(), &info), 0);
    EXPECT_EQ(info.st_mode & 07777U, 0755U);
}

TEST_F(DebugLogFileTest, RollsOnlyAboveTheThresholdIntoTheFirstFreeSlot)
{
    writeLevel("1");
    fakes::TempRoot::writeFile(root.real(kLogFile), std::string(kRollThreshold, 'x'));
    runProcess();
    EXPECT_TRUE(host.commands.empty());
    EXPECT_GT(logText().size(), kRollThreshold); // and now it is larger

    fakes::TempRoot::writeFile(archive(".0.gz"), "packed");
    fakes::TempRoot::writeFile(archive(".1"), "plain");
    runProcess();
    EXPECT_TRUE(logText().starts_with(kBanner));
    EXPECT_EQ(host.commands, std::vector<std::string>{"gzip -fq " + archive(".2").string()});
    EXPECT_FALSE(std::filesystem::exists(archive(".2")));
    struct stat info {
    };
    ASSERT_EQ(stat(archive(".2.gz").c_str(), &info), 0);
    EXPECT_EQ(info.st_mode & 07777U, 0640U);
    EXPECT_EQ(fakes::TempRoot::readFile(archive(".0.gz")), "packed");
    EXPECT_EQ(fakes::TempRoot::readFile(archive(".1")), "plain");
}

TEST_F(DebugLogFileTest, WithAllSlotsTakenTheFileGrowsOn)
{
    writeLevel("1");
    const std::string old(kRollThreshold + 1, 'x');
    fakes::TempRoot::writeFile(root.real(kLogFile), old);
    for (int slot = 0; slot < 10; ++slot)
        fakes::TempRoot::writeFile(archive("." + std::to_string(slot) + ".gz"), "packed");
    runProcess();
    EXPECT_TRUE(logText().starts_with(old + kBanner));
    EXPECT_EQ(log.system,
              std::vector<std::string>{"Couldn't roll logfile; continuing to append to existing VEXDebug logfile.\n"});
}

TEST_F(DebugLogFileTest, TheShellSeesTheArchiveAsOneWord)
{
    const auto awkward = root.path() / "a b'; touch $HOME";
    std::filesystem::create_directories(awkward);
    setenv("ROAMER_ROOT", awkward.c_str(), 1);
    fakes::TempRoot::writeFile(awkward.string() + kLogFile, std::string(kRollThreshold + 1, 'x'));
    fakes::TempRoot::writeFile(awkward.string() + kDebugLevelFile,
                               "<plist><dict><key>debugOutput</key><string>1</string></dict></plist>");
    runProcess();
    EXPECT_TRUE(std::filesystem::exists(awkward.string() + kLogFile + ".0.gz"));
    setenv("ROAMER_ROOT", root.path().c_str(), 1);
}

TEST_F(DebugLogFileTest, WithoutAUserOrAFolderTheLinesGoToStandardOutput)
{
    writeLevel("1");
    host.home.reset();
    testing::internal::CaptureStdout();
    runProcess();
    EXPECT_EQ(testing::internal::GetCapturedStdout(),
              "ReadDebugLevel gDebugLevel = 1\n" + kPlain + "message 0\n" + kPlain + "message 1\n");
    EXPECT_EQ(log.system, std::vector<std::string>{"getpwuid() result invalid.\n"});

    host.home = "/home/jo";
    fakes::TempRoot::writeFile(root.real("/Library/Logs"), "a file in the way");
    testing::internal::CaptureStdout();
    runProcess();
    EXPECT_NE(testing::internal::GetCapturedStdout().find(kPlain + "message 1\n"), std::string::npos);
    EXPECT_TRUE(host.owners.empty());
}

TEST_F(DebugLogFileTest, AnUnreadableLevelFileIsAPermissionsError)
{
    writeLevel("1");
    ASSERT_EQ(chmod(root.real(kDebugLevelFile).c_str(), 0), 0);
    const uid_t before = geteuid();
    if (before == 0 && seteuid(65534) != 0) GTEST_SKIP() << "cannot act as a user without rights";
    runProcess();
    ASSERT_EQ(seteuid(before), 0);
    EXPECT_EQ(log.system,
              std::vector<std::string>{
                  "GetPListFromXMLFile: Attempt to open \"/Library/Preferences/com.kestrel.VEXDebug.plist\" "
                  "failed.  Permissions error."});
}

} // namespace roamer
