#include <cerrno>
#include <csignal>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include "home/home_lock.h"
#include "platform/linux/effective_user.h"
#include "platform/linux/file_manager.h"
#include "tests/fakes/fake_file_manager.h"
#include "tests/fakes/recording_log.h"
#include "tests/fakes/small_services.h"
#include "tests/fakes/temp_root.h"

namespace
{

namespace fs = std::filesystem;
using namespace roamer;
using String = std::optional<std::string>;

const std::string kOurs = "00:1b:63:0a:ff:02";
const std::string kTheirs = "00:1b:63:0a:ff:03";
constexpr unsigned kUser = 12345;

TEST(HomeLock, WhoGetsTheHome)
{
    struct Case {
        const char* name;
        String before;
        std::function<void(fakes::FakeFileManager&)> given;
        String address;
        bool recover;
        int error;
        bool isTaken;
        String after;
    } const cases[] = {
        {"no file yet", {}, {}, kOurs, false, 0, true, kOurs},
        {"an empty file is free", "", {}, kOurs, false, 0, true, kOurs},
        {"our own, with old bytes behind", kOurs + "old", {}, kOurs, false, 0, true, kOurs + "old"},
        {"another computer's", kTheirs, {}, kOurs, false, kHomeIsBusy, false, kTheirs},
        {"a part of our address", kOurs.substr(0, 16), {}, kOurs, false, kHomeIsBusy, false, kOurs.substr(0, 16)},
        {"an override", kTheirs, {}, {}, true, 0, true, ""},
        {"denied by another", kTheirs, [](auto& f) { f.openError = -5006; }, {}, true, -5006, false, kTheirs},
        {"not permitted", kOurs, [](auto& f) { f.openError = -54; }, kOurs, false, -54, false, kOurs},
        {"no deny modes", kOurs, [](auto& f) { f.openError = -50; }, kOurs, false, 0, true, kOurs},
        {"nor a plain open", kOurs, [](auto& f) { f.openError = -50, f.plainOpenError = EIO; }, kOurs, false, EIO,
         false, kOurs},
        {"open here", kTheirs, [](auto& f) { f.open = 3; }, kOurs, false, -49, false, kTheirs},
        {"open here, taken over", kTheirs, [](auto& f) { f.open = 3; }, {}, true, -49, true, ""},
        {"open here, with our address", kOurs, [](auto& f) { f.open = 3; }, kOurs, true, 0, true, kOurs},
        {"cannot be read", kOurs, [](auto& f) { f.readError = EIO; }, kOurs, false, EIO, false, kOurs},
        {"bookkeeping fails", {}, [](auto& f) { f.bookkeepingError = EIO; }, kOurs, false, 0, true, kOurs},
        {"no home", {}, [](auto& f) { f.folderError = -1; }, kOurs, false, -1, false, {}},
        {"a home that cannot be looked at", {}, [](auto& f) { f.folderError = EIO; }, kOurs, false, EIO, false, {}},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        fakes::RecordingLog log;
        fakes::FakeFileManager files;
        files.content = c.before;
        if (c.given) c.given(files);
        const auto openBefore = files.open;
        const bool isMade = !c.before && files.folderError == 0;
        fakes::FakeEffectiveUser user(0, 0);
        HomeLock lock(files, user);

        int error = 99;
        const auto refNum = lock.pavoCheckAndOpenVEXLockFileInHomeDir("/h", kUser, c.address, c.recover, &error);
        EXPECT_EQ(error, c.error);
        EXPECT_EQ(refNum, c.isTaken ? files.open : 0);
        EXPECT_EQ(files.open != 0, c.isTaken || openBefore != 0) << "what is not taken is not left open";
        EXPECT_EQ(files.content, c.after);
        EXPECT_EQ(files.hidden, isMade);
        EXPECT_EQ(user.effective, 0U);

        lock.pavoCleanupVEXLockFileInHomeDir("/h", kUser, refNum);
        EXPECT_EQ(files.content, c.isTaken ? String() : c.after);
        EXPECT_EQ(files.open, c.isTaken ? 0 : openBefore);
        EXPECT_EQ(user.effective, 0U);
    }
}

/// Real files, as whoever runs the test.
struct LockRig {
    fakes::RecordingLog log;
    fakes::TempRoot root;
    std::unique_ptr<platform::FileManager> files = platform::makeFileManager();
    std::unique_ptr<platform::EffectiveUser> user = platform::makeEffectiveUser();
    HomeLock lock{*files, *user};
    const std::string home = root.real("/srv/homes/jo");
    const std::string file = home + "/.vexlc";
    int error = 99;

    LockRig() { fs::create_directories(home); }
    std::int16_t take(const String& address, bool recover = false, const std::string& where = {},
                      unsigned uid = geteuid())
    {
        return lock.pavoCheckAndOpenVEXLockFileInHomeDir(where.empty() ? home : where, uid, address, recover, &error);
    }
};

TEST(HomeLock, LeavesAloneWhatLinksLeadTo)
{
    LockRig rig;
    const std::string victim = rig.root.real("/etc/victim");
    const auto isUntouched = [&] { return fakes::TempRoot::readFile(victim) == "precious"; };
    fakes::TempRoot::writeFile(victim, "precious");
    const std::function<void()> plants[] = {
        [&] { fs::create_symlink(victim, rig.file); },
        [&] { fs::create_symlink(rig.root.real("/etc/new"), rig.file); },
        [&] { fs::create_hard_link(victim, rig.file); },
        [&] { fs::create_directories(rig.file); },
        [&] { ASSERT_EQ(mkfifo(rig.file.c_str(), 0666), 0); },
    };
    for (const auto& plant : plants) {
        fs::remove_all(rig.file);
        plant();
        for (const bool override : {false, true}) {
            EXPECT_EQ(rig.take(override ? String() : kOurs, override), 0);
            EXPECT_GT(rig.error, 0);
            EXPECT_TRUE(isUntouched());
        }
    }
    EXPECT_FALSE(fs::exists(rig.root.real("/etc/new")));

    fs::remove_all(rig.file);
    const std::string planted = rig.root.real("/srv/homes/planted");
    fs::create_symlink(rig.home, planted);
    for (const auto& path : {planted, planted + "/"}) {
        EXPECT_EQ(rig.take(kOurs, false, path), 0);
        EXPECT_EQ(rig.error, -1);
    }
    EXPECT_FALSE(fs::exists(rig.file));
    const auto held = rig.take(kOurs);
    ASSERT_NE(held, 0);
    rig.lock.pavoCleanupVEXLockFileInHomeDir(planted, geteuid(), held);
    EXPECT_TRUE(fs::exists(rig.file)) << "not deleted through the link";
}

TEST(HomeLock, WorksAsTheUser)
{
    if (geteuid() != 0) GTEST_SKIP() << "only the superuser acts as others";
    LockRig rig;
    fs::permissions(rig.root.path(), fs::perms(0755));
    EXPECT_EQ(rig.take(kOurs, false, {}, kUser), 0) << "the home belongs to the superuser";

    ASSERT_EQ(chown(rig.home.c_str(), kUser, kUser), 0);
    const auto held = rig.take(kOurs, false, {}, kUser);
    ASSERT_NE(held, 0);
    struct stat info {
    };
    ASSERT_EQ(stat(rig.file.c_str(), &info), 0);
    EXPECT_EQ(info.st_uid, kUser);
    EXPECT_EQ(geteuid(), 0U);
    rig.lock.pavoCleanupVEXLockFileInHomeDir(rig.home, kUser, held);
    EXPECT_FALSE(fs::exists(rig.file));
}

/// Whether another process gets the lock; it keeps it meanwhile, and is killed then.
bool anotherProcessGetsIt(const std::string& home, const std::function<void()>& meanwhile)
{
    std::array<int, 2> ready{};
    EXPECT_EQ(pipe(ready.data()), 0);
    const pid_t other = fork();
    if (other == 0) {
        const auto files = platform::makeFileManager();
        fakes::FakeEffectiveUser user;
        int error = 0;
        const auto held = HomeLock(*files, user).pavoCheckAndOpenVEXLockFileInHomeDir(home, 0, kOurs, false, &error);
        if (write(ready[1], held != 0 ? "+" : "-", 1) == 1) pause();
        _exit(1);
    }
    char answer = '?';
    EXPECT_EQ(read(ready[0], &answer, 1), 1);
    meanwhile();
    kill(other, SIGKILL);
    waitpid(other, nullptr, 0);
    return answer == '+';
}

TEST(HomeLock, TwoProcessesExcludeEachOtherUntilOneIsKilled)
{
    LockRig rig;
    EXPECT_TRUE(anotherProcessGetsIt(rig.home, [&] {
        for (const String& address : {String(kTheirs), String(kOurs), String()}) {
            EXPECT_EQ(rig.take(address, !address), 0);
            EXPECT_EQ(rig.error, -5006);
        }
    }));
    EXPECT_EQ(fakes::TempRoot::readFile(rig.file), kOurs);
    EXPECT_EQ(rig.take(kTheirs), 0);
    EXPECT_EQ(rig.error, kHomeIsBusy);
    const auto held = rig.take(kOurs);
    EXPECT_EQ(rig.error, 0);
    EXPECT_FALSE(anotherProcessGetsIt(rig.home, [] {}));
    rig.lock.pavoCleanupVEXLockFileInHomeDir(rig.home, geteuid(), held);
    EXPECT_FALSE(fs::exists(rig.file));
}

} // namespace
