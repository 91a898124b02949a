#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <fstream>
#include <iterator>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include "command_line.h"
#include "platform/linux/application.h"
#include "platform/linux/distributed_notifications.h"
#include "platform/linux/event_trace.h"
#include "platform/linux/power_service.h"
#include "platform/linux/process_table.h"
#include "platform/linux/run_loop.h"
#include "platform/linux/threads.h"
#include "tests/fakes/private_bus.h"

namespace
{

using namespace std::chrono_literals;

TEST(ProcessTable, ListsNamesAndZombies)
{
    const auto table = platform::makeProcessTable();
    EXPECT_EQ(table->ownPid(), ::getpid());
    const pid_t child = ::fork();
    if (child == 0) {
        ::prctl(PR_SET_NAME, "a) Z (b");
        ::_exit(0);
    }
    siginfo_t ended = {};
    ::waitid(P_PID, static_cast<id_t>(child), &ended, WEXITED | WNOWAIT); // It stays a zombie.
    const auto processes = table->processes();
    ::waitpid(child, nullptr, 0);
    ASSERT_TRUE(processes);
    const auto find = [&](int pid) {
        return std::find_if(processes->begin(), processes->end(), [pid](const auto& p) { return p.pid == pid; });
    };
    ASSERT_NE(find(child), processes->end());
    EXPECT_EQ(find(child)->commandName, "a) Z (b");
    EXPECT_TRUE(find(child)->isZombie);
    ASSERT_NE(find(::getpid()), processes->end());
    EXPECT_FALSE(find(::getpid())->isZombie);
}

TEST(EventTrace, LeavesAProbeThatTracersFind)
{
    platform::makeEventTrace()->trace(0x21090000);
    std::ifstream program("/proc/self/exe", std::ios::binary);
    const std::string bytes{std::istreambuf_iterator<char>(program), {}};
    using namespace std::string_literals;
    EXPECT_NE(bytes.find("\0roamer\0trace\0"s), std::string::npos);
}

TEST(Threads, RunBesideTheirCaller)
{
    std::atomic<bool> release = false, ended = false;
    ASSERT_TRUE(platform::makeThreads()->detach([&] {
        while (!release)
            std::this_thread::yield();
        ended = true;
    }));
    EXPECT_FALSE(ended);
    release = true;
    while (!ended)
        std::this_thread::yield();
}

TEST(PowerService, IsAbsentWithoutALoginManager)
{
    fakes::PrivateBus bus;
    const auto application = platform::makeApplication();
    const auto power = platform::makePowerService();
    EXPECT_FALSE(power->registerForSystemPower([](auto) { return platform::PowerService::Answer::Allow; }));
    power->answersChanged();
    power->reportUserActivity();
}

TEST(DistributedNotifications, ReachTheSession)
{
    fakes::PrivateBus bus;
    const auto application = platform::makeApplication();
    const auto loop = platform::makeRunLoop();
    CommandResult heard;
    std::thread listener([&] {
        heard =
            runCommand("timeout 20 sh -c 'dbus-monitor --session \"interface=com.kestrel.DistributedNotifications\" "
                       "| grep -m1 com.kestrel.test.changed'");
    });
    const auto notifications = platform::makeDistributedNotifications();
    // Posted until the listener has come up and heard one.
    std::atomic<bool> done = false;
    std::thread waiter([&] {
        listener.join();
        done = true;
    });
    while (!done) {
        notifications->post("com.kestrel.test.changed");
        loop->runFor(50ms);
    }
    waiter.join();
    EXPECT_THAT(heard.output, testing::HasSubstr("com.kestrel.test.changed"));
}

} // namespace
