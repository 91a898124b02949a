#pragma once

#include <gtest/gtest.h>

#include <csignal>
#include <fcntl.h>
#include <fstream>
#include <sched.h>
#include <sys/mount.h>
#include <sys/wait.h>
#include <unistd.h>

#include "lobbyd/mount_table.h"
#include "platform/linux/application.h"
#include "platform/linux/disk_service.h"
#include "platform/linux/lobby_client.h"
#include "platform/linux/message_port.h"
#include "platform/linux/mount_service.h"
#include "platform/linux/property_list_codec.h"
#include "platform/linux/run_loop.h"
#include "tests/fakes/private_bus.h"
#include "tests/fakes/recording_log.h"
#include "tests/fakes/temp_root.h"
#include "util/lobby_notify.h"

namespace fakes
{

/// Hides the mounts of this process and its children from everybody else; they end with it. False where that is not
/// allowed.
inline bool hideMounts()
{
    const std::string map = "0 " + std::to_string(::getuid()) + " 1";
    const bool isRoot = ::geteuid() == 0;
    if (::unshare(isRoot ? CLONE_NEWNS : CLONE_NEWNS | CLONE_NEWUSER) != 0) return false;
    if (!isRoot) std::ofstream("/proc/self/uid_map") << map;
    return ::geteuid() == 0 && ::mount("none", "/", nullptr, MS_REC | MS_PRIVATE, nullptr) == 0;
}
/// Before there are threads, which would keep a user from it.
inline const bool gMountsAreHidden = hideMounts();

/// The real lobbyd on a bus and a system root of its own, with stand-ins for the mount clients. They note what they are
/// given, and do what `behave` says.
class LobbyRig : public testing::Test
{
protected:
    void SetUp() override
    {
        if (!gMountsAreHidden) GTEST_SKIP() << "mounts are not allowed here";
        for (const std::string client : {"mount.nfs", "mount.cifs", "sshfs"})
            writeClient(client);
        behave("mount");
        startLobby();
    }
    void TearDown() override { stopLobby(SIGTERM); }

    void writeClient(const std::string& client)
    {
        const auto path = clients / client;
        fakes::TempRoot::writeFile(path, R"sh(#!/bin/bash
cd "$(dirname "$0")"
tr '\0' '\n' </proc/$$/cmdline >seen
tr '\0' '\n' </proc/$$/environ >>seen
grep core /proc/self/limits >>seen
echo $$ >pid
if [ -n "$PASSWD_FD" ]; then cat <&"$PASSWD_FD" >password; else cat >password; fi
read -r what text <behave
case $what in
mount | half) mount -t tmpfs -o size=64k stand-in "$2" ;;&
half | hang) sleep 1000 ;;
fail) echo "$text" >&2; exit 32 ;;
esac
)sh");
        std::filesystem::permissions(path, std::filesystem::perms::owner_all);
    }
    void behave(const std::string& what) const { TempRoot::writeFile(clients / "behave", what + "\n"); }
    std::string seen(const char* what = "seen") const { return TempRoot::readFile(clients / what); }
    std::string lobbyLog() const { return TempRoot::readFile(root.path() / "lobbyd.log"); }

    static std::filesystem::path program()
    {
        return std::filesystem::read_symlink("/proc/self/exe").parent_path() / "lobbyd";
    }
    void startLobby()
    {
        const auto log = root.path() / "lobbyd.log";
        TempRoot::writeFile(log, "");
        lobby = ::fork();
        if (lobby == 0) {
            const int out = ::open(log.c_str(), O_WRONLY | O_APPEND);
            ::dup2(out, STDOUT_FILENO);
            ::dup2(out, STDERR_FILENO);
            ::execl(program().c_str(), "lobbyd", "--session", "--clients", clients.c_str(), nullptr);
            ::_exit(127);
        }
        EXPECT_TRUE(waitFor([&] { return lobbyLog().find("serving") != std::string::npos; })) << lobbyLog();
    }
    void stopLobby(int signal)
    {
        if (lobby <= 0) return;
        ::kill(lobby, signal);
        ::waitpid(lobby, nullptr, 0);
        lobby = -1;
    }
    bool waitFor(const std::function<bool()>& condition) const
    {
        using namespace std::chrono_literals;
        for (int i = 0; i < 1000 && !condition(); ++i)
            loop->runFor(10ms);
        return condition();
    }

    /// What the mount service comes to.
    struct Outcome {
        std::int32_t status = 99;
        std::string share;
        bool operator==(const Outcome&) const = default;
        friend void PrintTo(const Outcome& outcome, std::ostream* out)
        {
            *out << outcome.status << " \"" << outcome.share << "\"";
        }
    };
    platform::MountService::Started begin(const std::string& url, const std::optional<std::string>& password)
    {
        outcome.reset();
        return mounts->mountURLAsync(url, "jo", password, 0x13248, [this](std::int32_t status, const auto* shares) {
            outcome = Outcome{status, shares != nullptr ? shares->front() : ""};
        });
    }
    Outcome mount(const std::string& url, const std::optional<std::string>& password = "geheim")
    {
        const auto started = begin(url, password);
        if (started.error != 0) return {started.error, "not started"};
        waitFor([&] { return outcome.has_value(); });
        return outcome.value_or(Outcome{});
    }
    Outcome mountWithLogin(const std::string& url)
    {
        Outcome result;
        roamer::LobbyNotify notify(*port, *codec);
        result.share = notify.LbNotifyWithData(url, "/etc", -1, result.status).value_or("");
        return result;
    }
    void unmount(const std::string& share)
    {
        auto session = std::get<std::unique_ptr<platform::DiskService::Session>>(disks->openSession());
        const auto disk = session->diskAtMountPoint(share);
        ASSERT_TRUE(std::holds_alternative<platform::DiskService::Disk>(disk)) << share;
        session->requestForcedUnmount(std::get<platform::DiskService::Disk>(disk));
    }
    std::string real(const std::string& share) const
    {
        return std::filesystem::canonical(root.path()).string() + share;
    }
    bool isMounted(const std::string& share) const { return lobby::mountAt(real(share)).has_value(); }
    /// Neither a mount point nor a record is left.
    bool isCleared() const
    {
        const auto records = root.real("/Volumes/.lobby");
        const auto count = std::distance(std::filesystem::directory_iterator(root.real("/Volumes")), {});
        return count == 1 && std::filesystem::is_empty(records);
    }

    TempRoot root;
    PrivateBus bus;
    RecordingLog log;
    std::filesystem::path clients = root.path() / "clients";
    pid_t lobby = -1;
    std::unique_ptr<platform::Application> application = platform::makeApplication();
    std::unique_ptr<platform::RunLoop> loop = platform::makeRunLoop();
    std::unique_ptr<platform::PropertyListCodec> codec = platform::makePropertyListCodec();
    std::unique_ptr<platform::MessagePort> port = platform::makeMessagePort();
    platform::LobbyClient client{*port, *codec};
    platform::ShareHolds holds;
    std::unique_ptr<platform::MountService> mounts = platform::makeMountService(*loop, holds);
    std::unique_ptr<platform::DiskService> disks = platform::makeDiskService(holds, *port, *codec);
    std::optional<Outcome> outcome;
};

} // namespace fakes
