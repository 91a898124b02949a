// The parts of roamer-session; what they do together with the real programs is tested in tests/integration.

#include <gmock/gmock.h>

#include <fcntl.h>
#include <set>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include "platform/linux/property_list_codec.h"
#include "session/arguments.h"
#include "session/environment.h"
#include "session/home_change.h"
#include "session/secret.h"
#include "session/status_words.h"
#include "session/user_process.h"
#include "tests/fakes/temp_root.h"

namespace
{

namespace fs = std::filesystem;
using namespace std::string_literals;
using namespace roamer::session;
using fakes::TempRoot;
using platform::UniqueFd;
using testing::Contains;
using testing::HasSubstr;
using testing::Not;
using testing::StartsWith;

struct Pipe {
    Pipe()
    {
        int ends[2];
        if (::pipe2(ends, O_CLOEXEC) != 0) throw std::runtime_error("pipe2");
        reading = UniqueFd(ends[0]);
        writing = UniqueFd(ends[1]);
    }
    std::string readAll()
    {
        writing = UniqueFd();
        std::string text;
        char byte = 0;
        while (::read(reading.get(), &byte, 1) == 1)
            text += byte;
        return text;
    }
    UniqueFd reading, writing;
};

TEST(Arguments, AreTakenOrRefusedInWords)
{
    const struct {
        std::vector<const char*> words;
        const char* problem; ///< Null: none.
    } cases[] = {
        {{"login"}, nullptr},
        {{"logout", "--first-time", "--timeout", "300", "--user", "jo"}, nullptr},
        {{"changed", "--home", "/srv/jo", "--user", "jo"}, nullptr},
        {{}, "login, logout or changed"},
        {{"sync"}, "no command \"sync\""},
        {{"login", "secret"}, "no option \"secret\""},
        {{"login", "--home", "/srv/jo"}, "no option \"--home\""},
        {{"login", "--timeout"}, "--timeout needs a value"},
        {{"login", "--timeout", "0"}, "--timeout cannot be \"0\""},
        {{"login", "--timeout", "99999999999"}, "--timeout cannot be"},
        {{"login", "--user", ""}, "--user cannot be"},
    };
    for (const auto& c : cases) {
        const auto result = parseArguments(c.words);
        const auto* problem = std::get_if<std::string>(&result);
        EXPECT_EQ(problem != nullptr, c.problem != nullptr) << (c.words.empty() ? "" : c.words.back());
        if (problem != nullptr && c.problem != nullptr) {
            EXPECT_THAT(*problem, HasSubstr(c.problem));
        }
    }
    const auto logout = std::get<Arguments>(parseArguments(cases[1].words));
    EXPECT_TRUE(logout.command == Command::Logout && logout.firstTime && logout.user == "jo");
    EXPECT_EQ(logout.timeout, std::chrono::seconds(300));
}

TEST(Verdict, SaysWhatAStatusMeansAndWhetherThePersonMayGoOn)
{
    for (const int status : {0, -128, -14136})
        EXPECT_TRUE(verdictOf(status, false, {}).mayGoOn) << status;
    std::set<std::string> words;
    for (const int status : {-61, -10, -3, -2, -1, 2, 5, 13, 22, 65, 93, 95, 110, 111, 113, 129, 4711}) {
        EXPECT_FALSE(verdictOf(status, true, {}).mayGoOn) << status;
        EXPECT_THAT(verdictOf(status, true, {}).words, HasSubstr("(status " + std::to_string(status) + ")"));
        words.insert(verdictOf(status, true, {}).words);
    }
    EXPECT_EQ(words.size(), 17U);
    EXPECT_FALSE(verdictOf(0, true, {}).isTold);
    EXPECT_TRUE(verdictOf(0, false, {}).isTold);
    EXPECT_THAT(verdictOf(0, true, {.conflicts = 2, .errors = 1}).words, HasSubstr("2 conflicts and 1 item"));
    EXPECT_THAT(verdictOf(0, false, {.closedFolder = "/home/jo"}).words, HasSubstr("\"/home/jo\" is closed"));
    EXPECT_THAT(verdictOf(EACCES, false, {.closedFolder = "/home/jo"}).words, HasSubstr("\"/home/jo\" is closed"));
}

TEST(EnvironmentFor, SomebodyElseIsWhatTheyNeedAndNoMore)
{
    ::setenv("LD_PRELOAD_BY_CALLER", "evil.so", 1);
    ::setenv("DISPLAY", ":7", 1);
    ::setenv("LC_TIME", "de_DE.UTF-8", 1);
    ::setenv("DBUS_SESSION_BUS_ADDRESS", "unix:path=/somewhere", 1);
    const platform::UserEntry other{"other", ::getuid() + 4711, 4711, "", "/home/other"};
    const auto found = environmentFor(other, "unix:path=/their/bus");
    for (const char* wanted : {"HOME=/home/other", "USER=other", "LOGNAME=other", "DISPLAY=:7", "LC_TIME=de_DE.UTF-8",
                               "DBUS_SESSION_BUS_ADDRESS=unix:path=/their/bus"})
        EXPECT_THAT(found, Contains(wanted));
    for (const char* unwanted : {"LD_PRELOAD_BY_CALLER=", "XDG_RUNTIME_DIR=", "PWD="})
        EXPECT_THAT(found, Not(Contains(StartsWith(unwanted))));

    const platform::UserEntry own{"me", ::getuid(), ::getgid(), "", "/home/me"};
    EXPECT_THAT(environmentFor(own, ""), Contains("LD_PRELOAD_BY_CALLER=evil.so"));
    EXPECT_THAT(environmentFor(own, ""), Not(Contains(StartsWith("DBUS_SESSION_BUS_ADDRESS="))));
}

TEST(Secret, IsTakenAsItIsAndNotHandedToChildren)
{
    const auto read = [](const std::string& text, Secret& secret) {
        Pipe pipe;
        [[maybe_unused]] const auto written = ::write(pipe.writing.get(), text.data(), text.size());
        pipe.writing = UniqueFd();
        return secret.readFrom(pipe.reading.get(), [] { return true; });
    };
    Secret secret;
    ASSERT_EQ(read("pass\0word\n"s, secret), std::nullopt);
    const auto bytes = secret.bytes();
    EXPECT_EQ(std::string(reinterpret_cast<const char*>(bytes.data()), bytes.size()), "pass\0word\n"s);
    const pid_t child = ::fork();
    if (child == 0) ::_exit(bytes[0] == std::byte{0} ? 0 : 1);
    int status = -1;
    ::waitpid(child, &status, 0);
    EXPECT_EQ(status, 0) << "the child can read the password";
    secret.wipe();
    EXPECT_EQ(bytes[0], std::byte{0});

    Secret tooLong;
    EXPECT_TRUE(read(std::string(Secret::kCapacity + 1, 'x'), tooLong));
    Pipe silent;
    EXPECT_TRUE(Secret().readFrom(silent.reading.get(), [] { return false; })) << "nobody waits, so it does not either";
}

TEST(UserProcess, IsTheUserAndHasOnlyWhatItWasGiven)
{
    if (::geteuid() != 0) GTEST_SKIP() << "only the superuser can become somebody else";
    const auto nobody = platform::findUser("nobody").entry;
    ASSERT_TRUE(nobody);
    Pipe pipe;
    const UniqueFd secretFile(::open("/etc/shadow", O_RDONLY)); // not closed by exec
    const std::string script = "(id -u; id -G; ls /proc/self/fd; cat; env) >&3";
    Pipe input;
    ASSERT_EQ(::write(input.writing.get(), "words\n", 6), 6);
    input.writing = UniqueFd();
    auto started = UserProcess::start(*nobody, {.path = "/bin/sh",
                                                .arguments = {"-c", script},
                                                .environment = {"A=1"},
                                                .standardInput = input.reading.get(),
                                                .passedOn = {pipe.writing.get()}});
    ASSERT_TRUE(std::holds_alternative<UserProcess>(started)) << std::get<std::string>(started);
    const auto id = std::to_string(nobody->uid) + "\n" + std::to_string(nobody->gid) + "\n";
    // "ls" has its own descriptor of the folder as the last one.
    EXPECT_THAT(pipe.readAll(), StartsWith(id + "0\n1\n2\n3\n4\nwords\nA=1\n"));
    EXPECT_TRUE(std::get<UserProcess>(started).endsWithin(std::chrono::seconds(5)));

    const auto missing = UserProcess::start(*nobody, {.path = "/no/such/program", .arguments = {}, .environment = {}});
    ASSERT_TRUE(std::holds_alternative<std::string>(missing));
    EXPECT_THAT(std::get<std::string>(missing), HasSubstr("No such file"));
}

class HomeChange : public testing::Test
{
protected:
    HomeChange() { fs::create_directories(home); }
    fakes::TempRoot root;
    fs::path home = root.path() / "server/jo";
    fs::path file = home / "Library/Preferences/com.kestrel.roamer.plist";
    const roamer::Date time{std::chrono::seconds(1'800'000'000)};
};

TEST_F(HomeChange, IsNotedBesideAllElseThatIsNoted)
{
    TempRoot::writeFile(file, "<plist version=\"1.0\"><dict><key>a</key><string>b</string></dict></plist>");
    fs::permissions(file, fs::perms::owner_read | fs::perms::owner_write);
    ASSERT_EQ(noteHomeChange(home, time), std::nullopt);
    const auto bytes = TempRoot::readFile(file);
    EXPECT_THAT(bytes, StartsWith("bplist00"));
    EXPECT_EQ(fs::status(file).permissions(), fs::perms::owner_read | fs::perms::owner_write);
    const auto noted = platform::makePropertyListCodec()->parse(std::as_bytes(std::span(bytes)));
    EXPECT_EQ(std::get<roamer::PropertyList>(noted),
              roamer::PropertyList(roamer::Dictionary{{"a", "b"}, {"homeChangeTime", time}}));

    fs::remove_all(home / "Library");
    EXPECT_EQ(noteHomeChange(home, time), std::nullopt);
    EXPECT_TRUE(fs::exists(file)) << "a home that has never been synced";
}

TEST_F(HomeChange, NeverLeavesTheHomeAndSpoilsNothing)
{
    const fs::path outside = root.path() / "outside";
    TempRoot::writeFile(outside / "com.kestrel.roamer.plist", "not theirs");
    const struct {
        const char* name;
        std::function<void()> plant;
    } cases[] = {
        {"Preferences is a link",
         [&] {
             fs::remove(file.parent_path());
             fs::create_symlink(outside, file.parent_path());
         }},
        {"the file is a link", [&] { fs::create_symlink(outside / "com.kestrel.roamer.plist", file); }},
        {"the file is unreadable", [&] { TempRoot::writeFile(file, "no property list"); }},
        {"the copy of a home", [&] { TempRoot::writeFile(home / ".Braid/sync_set.plist", ""); }},
        {"no home", [&] { fs::remove_all(home); }},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        fs::remove_all(home);
        fs::create_directories(file.parent_path());
        c.plant();
        EXPECT_TRUE(noteHomeChange(home, time));
        EXPECT_EQ(TempRoot::readFile(outside / "com.kestrel.roamer.plist"), "not theirs");
        const bool isTheirOwn = fs::is_regular_file(fs::symlink_status(file)) && !fs::is_symlink(file.parent_path());
        EXPECT_TRUE(!isTheirOwn || TempRoot::readFile(file) == "no property list");
    }
}

} // namespace
