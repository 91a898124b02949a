// Files on servers that may stop answering. The workers are forked from the test instead of started anew.

#include <csignal>
#include <gtest/gtest.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include "platform/linux/effective_user.h"
#include "platform/linux/far_services.h"
#include "platform/linux/far_worker.h"
#include "platform/linux/file_manager.h"
#include "platform/linux/file_system.h"
#include "platform/linux/mount_table.h"
#include "platform/linux/preference_store.h"
#include "platform/linux/property_list_codec.h"
#include "property_list_bytes.h"
#include "tests/fakes/recording_log.h"
#include "tests/fakes/temp_root.h"

namespace
{

namespace fs = std::filesystem;
using namespace std::chrono_literals;
using fakes::TempRoot;
using tests::asBytes;
using Access = platform::FileManager::Access;

class FarServicesTest : public testing::Test
{
protected:
    FarServicesTest() { fs::create_directories(home); }

    platform::FarLink::Started startWorker()
    {
        std::array<int, 2> ends{};
        EXPECT_EQ(socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends.data()), 0);
        const pid_t pid = fork();
        if (pid == 0) {
            close(ends[0]);
            _exit(platform::runFarWorker(platform::UniqueFd(ends[1])));
        }
        close(ends[1]);
        workers.push_back(pid);
        return {pid, platform::UniqueFd(ends[0])};
    }
    /// Everything in the home is far.
    std::optional<std::string> mountOf(const std::string& path) const
    {
        return path.starts_with(home) ? std::optional(home) : std::nullopt;
    }

    fakes::RecordingLog log;
    TempRoot root;
    const std::string home = root.real("/srv/homes/jo");
    std::vector<pid_t> workers;
    std::chrono::steady_clock::time_point now;

    std::unique_ptr<platform::PropertyListCodec> codec = platform::makePropertyListCodec();
    std::unique_ptr<platform::FileSystem> nearFiles = platform::makeFileSystem();
    std::unique_ptr<platform::PreferenceStore> nearStore = platform::makePreferenceStore(*codec);
    std::unique_ptr<platform::FileManager> nearManager = platform::makeFileManager();
    platform::FarLink link{*codec,
                           {.startWorker = [this] { return startWorker(); },
                            .mountOf = [this](const std::string& path) { return mountOf(path); },
                            .now = [this] { return now; }},
                           {.answer = 2s, .answerAfterSilence = 2s, .silence = 60s}};
    std::unique_ptr<platform::FileSystem> files = platform::makeFarFileSystem(*nearFiles, link);
    std::unique_ptr<platform::PreferenceStore> store = platform::makeFarPreferenceStore(*nearStore, link);
    std::unique_ptr<platform::FileManager> manager = platform::makeFarFileManager(*nearManager, link);
};

TEST_F(FarServicesTest, DoTheSameFromAfar)
{
    for (const auto& place : {home, root.real("/srv/near").string()}) {
        SCOPED_TRACE(place);
        const std::string folder = place + "/Library", name = "latin1-\xe9", file = folder + "/" + name;
        fs::create_directories(place);
        EXPECT_FALSE(files->directoryIsReadable(folder));
        EXPECT_TRUE(files->createDirectory(folder));
        EXPECT_TRUE(store->writeFile(file, asBytes("one"), true));
        EXPECT_TRUE(files->exists(file));
        EXPECT_FALSE(files->isDirectory(file));
        EXPECT_TRUE(files->isDirectory(folder) && files->directoryIsReadable(folder) && !files->isPackage(folder));
        EXPECT_EQ(files->contentsOfDirectory(folder), std::vector{name});
        EXPECT_EQ(files->contentsOfDirectory(file), std::nullopt);
        EXPECT_TRUE(store->writeFileInHome(place, "Library/" + name, asBytes("two")));
        EXPECT_EQ(store->readFile(file), store->readFileInHome(place, "Library/" + name));
        EXPECT_EQ(TempRoot::readFile(file), "two");
        EXPECT_EQ(store->readFile(file + "/none"), std::nullopt);
        EXPECT_TRUE(store->writeDomain({{"key", "value"}}, folder, "com.a"));
        EXPECT_TRUE(fs::exists(folder + "/com.a.plist"));

        platform::FileManager::FolderIdentity identity;
        EXPECT_EQ(manager->readFolderIdentity(folder, identity), 0);
        EXPECT_NE(identity.folder, 0U);
        EXPECT_EQ(manager->readFolderIdentity(file, identity), platform::kFileNoFolder);
        EXPECT_EQ(manager->createFile(folder, "f"), 0);
        EXPECT_EQ(manager->createFile(folder, "f"), EEXIST);
        EXPECT_EQ(manager->hideFile(folder, "f"), 0);
        const auto opened = manager->openFile(folder, "f", Access::ReadWriteDenyWrite);
        ASSERT_NE(opened.refNum, 0);
        const auto again = manager->openFile(folder, "f", Access::ReadWriteDenyWrite);
        EXPECT_EQ(again.error, platform::kFileOpenForWriting);
        EXPECT_EQ(again.refNum, opened.refNum);
        EXPECT_EQ(manager->writeFile(opened.refNum, 1, asBytes("abc")), 0);
        EXPECT_EQ(manager->setFileLength(opened.refNum, 3), 0);
        EXPECT_EQ(manager->flushFile(opened.refNum), 0);
        std::array<std::byte, 8> buffer{};
        const auto got = manager->readFile(opened.refNum, 1, buffer);
        EXPECT_EQ(got.error, platform::kFileAtEnd);
        EXPECT_EQ(std::string(reinterpret_cast<char*>(buffer.data()), got.bytes), "ab");
        EXPECT_EQ(manager->closeFile(opened.refNum), 0);
        EXPECT_EQ(manager->closeFile(opened.refNum), EBADF);
        EXPECT_EQ(manager->deleteFile(folder, "f"), 0);
        EXPECT_EQ(manager->openFile(folder, "f", Access::ReadWrite).error, ENOENT);
    }
    EXPECT_EQ(workers.size(), 1U) << "only for what is far";
}

TEST_F(FarServicesTest, AServerThatStopsAnsweringIsLeftAloneForAWhile)
{
    ASSERT_EQ(manager->createFile(home, "f"), 0);
    const auto held = manager->openFile(home, "f", Access::ReadWriteDenyWrite).refNum;
    ASSERT_NE(held, 0);
    kill(workers.at(0), SIGKILL); // an unnoticed end is made good
    waitpid(workers.at(0), nullptr, 0);
    EXPECT_TRUE(files->exists(home));
    EXPECT_EQ(manager->flushFile(held), ESTALE) << "the new worker has not opened it";
    EXPECT_EQ(manager->closeFile(held), ESTALE);

    const auto stall = [this] {
        kill(workers.back(), SIGSTOP);
        const auto start = std::chrono::steady_clock::now();
        EXPECT_FALSE(files->exists(home));
        return std::chrono::steady_clock::now() - start;
    };
    EXPECT_GT(stall(), 1900ms);
    EXPECT_FALSE(files->answers(home));
    EXPECT_TRUE(files->answers("/tmp"));
    EXPECT_EQ(manager->createFile(home, "g"), ETIMEDOUT);
    EXPECT_EQ(store->readFile(home + "/f"), std::nullopt);
    EXPECT_EQ(workers.size(), 2U);
    EXPECT_EQ(log.countContaining("no answer from the file system at \"" + home + "\""), 1);

    now += 59s;
    EXPECT_FALSE(files->exists(home));
    now += 1s;
    EXPECT_TRUE(files->exists(home));
    EXPECT_TRUE(files->answers(home));
    EXPECT_EQ(workers.size(), 3U);
}

TEST_F(FarServicesTest, AWorkerEndsWithItsProcess)
{
    std::array<int, 2> ready{};
    ASSERT_EQ(pipe(ready.data()), 0);
    const pid_t agent = fork();
    if (agent == 0) {
        manager->createFile(home, "f");
        const bool holds = manager->openFile(home, "f", Access::ReadWriteDenyWrite).refNum != 0;
        // The worker hangs as in a server's call: it does not see the end of the socket.
        kill(workers.at(0), SIGSTOP);
        if (write(ready[1], holds ? "+" : "-", 1) == 1) pause();
        _exit(1);
    }
    char answer = '?';
    ASSERT_EQ(read(ready[0], &answer, 1), 1);
    ASSERT_EQ(answer, '+');
    const auto open = [this] { return nearManager->openFile(home, "f", Access::ReadWriteDenyWrite).error; };
    EXPECT_EQ(open(), platform::kFileDeniedByOther);
    kill(agent, SIGKILL);
    waitpid(agent, nullptr, 0);
    int error = open();
    for (int i = 0; i < 200 && error == platform::kFileDeniedByOther; ++i) {
        usleep(10'000); // until the kernel has passed the signal on
        error = open();
    }
    EXPECT_EQ(error, 0);
}

TEST_F(FarServicesTest, WorkAsWhoeverAsks)
{
    if (geteuid() != 0) GTEST_SKIP() << "only the superuser acts as others";
    fs::permissions(root.path(), fs::perms(0755));
    const auto user = platform::makeEffectiveUser();
    {
        const auto acting = user->switchTo(12345);
        EXPECT_EQ(manager->createFile(home, "f"), EACCES);
    }
    ASSERT_EQ(chown(home.c_str(), 12345, 12345), 0);
    {
        const auto acting = user->switchTo(12345);
        EXPECT_EQ(manager->createFile(home, "f"), 0);
    }
    EXPECT_EQ(manager->createFile(home, "g"), 0);
    struct stat info {
    };
    ASSERT_EQ(stat((home + "/f").c_str(), &info), 0);
    EXPECT_EQ(info.st_uid, 12345U);
    ASSERT_EQ(stat((home + "/g").c_str(), &info), 0);
    EXPECT_EQ(info.st_uid, 0U);
}

TEST(MountTable, WhatMayKeepItsCallerWaiting)
{
    TempRoot root;
    const auto real = [&root](const std::string& path) { return root.real(path).string(); };
    fs::create_directories(real("/run/Volumes"));
    fs::create_directories(real("/home/jo"));
    fs::create_symlink("run/Volumes", real("/Volumes"));
    fs::create_symlink(real("/Volumes/share/Docs"), real("/home/jo/Docs"));
    fs::create_symlink("loop", real("/home/jo/loop"));
    const platform::MountTable table({{"/", "ext4"},
                                      {real("/run"), "tmpfs"},
                                      {real("/run/Volumes/share"), "fuse.sshfs"},
                                      {real("/nfs"), "nfs4"},
                                      {real("/nfs/disk"), "ext4"},
                                      {real("/auto"), "autofs"}});
    const std::pair<std::string, std::optional<std::string>> cases[] = {
        {"/home/jo/file", {}},
        {"/Volumes/share/jo", "/run/Volumes/share"},
        {"/Volumes/share", "/run/Volumes/share"},
        {"/Volumes/other/jo", {}},
        {"/home/jo/Docs/letter", "/run/Volumes/share"},
        {"/home/../home/./jo/Docs", "/run/Volumes/share"},
        {"/home/jo/loop/x", {}},
        {"/nfs/disk/x", "/nfs"},
        {"/auto/x", "/auto"},
        {"/nfsx", {}},
    };
    for (const auto& [path, expected] : cases) {
        EXPECT_EQ(table.farMountOf(real(path)), expected ? std::optional(real(*expected)) : std::nullopt) << path;
    }
    EXPECT_EQ(platform::MountTable::read().farMountOf("/proc/self/status"), std::nullopt);
}

} // namespace
