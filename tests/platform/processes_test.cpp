// This process, its main loop, and others.

#include <gtest/gtest.h>

#include <algorithm>
#include <ctime>
#include <fcntl.h>
#include <sstream>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include "platform/linux/application.h"
#include "platform/linux/process_start.h"
#include "platform/linux/process_table.h"
#include "platform/linux/run_loop.h"
#include "tests/fakes/temp_root.h"

namespace
{

using namespace std::chrono_literals;

TEST(RunLoop, ASliceInsideATaskServesOthersSleepsAndOutlastsTheStopOfTheMainLoop)
{
    const auto application = platform::makeApplication();
    const auto loop = platform::makeRunLoop();
    const auto worked = std::clock();
    int ticks = 0;
    platform::Timer ticker = loop->every(5ms, [&] {
        if (++ticks == 3) ticker.invalidate();
    });
    std::string order;
    const auto other = loop->after(20ms, [&] {
        order += "inner ";
        application->stop();
    });
    const auto waiting = loop->after(5ms, [&] {
        const auto start = loop->now();
        loop->runFor(120ms);
        EXPECT_GE(loop->now() - start, 120ms);
        order += "outer";
    });
    application->run();
    EXPECT_EQ(order, "inner outer");
    EXPECT_EQ(ticks, 3) << "a task may drop its own timer";
    EXPECT_LT(std::clock() - worked, CLOCKS_PER_SEC * 60 / 1000) << "it spins";
}

class Delegate final : public platform::ApplicationDelegate
{
public:
    bool agrees = false;
    bool applicationShouldTerminate() override { return agrees && std::fputs("should ", stderr) >= 0; }
    void applicationWillTerminate() override { std::fputs("will", stderr); }
};

TEST(ApplicationDeathTest, TerminateAsksTellsAndEndsWithZeroUnlessRefused)
{
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    const auto endInside = [] {
        const auto application = platform::makeApplication();
        Delegate delegate;
        application->setDelegate(&delegate);
        application->terminate();
        delegate.agrees = true;
        application->terminate();
        std::_Exit(3);
    };
    EXPECT_EXIT(endInside(), testing::ExitedWithCode(0), "^should will$");
}

TEST(ProcessTable, ListsNamesAndZombies)
{
    const pid_t child = ::fork();
    if (child == 0) {
        ::prctl(PR_SET_NAME, "a) Z (b");
        ::_exit(0);
    }
    siginfo_t ended = {};
    ::waitid(P_PID, static_cast<id_t>(child), &ended, WEXITED | WNOWAIT); // It stays a zombie.
    const auto processes = platform::makeProcessTable()->processes();
    ::waitpid(child, nullptr, 0);
    ASSERT_TRUE(processes);
    const auto find = [&](pid_t pid) { return *std::ranges::find(*processes, pid, &platform::ProcessRecord::pid); };
    EXPECT_EQ(find(child).commandName, "a) Z (b");
    EXPECT_TRUE(find(child).isZombie && !find(::getpid()).isZombie);
}

TEST(DetachedProcess, StandsOnItsOwnFeetAndSaysAtOnceWhatCannotBeStarted)
{
    fakes::TempRoot root;
    EXPECT_EQ(platform::DetachedProcess::start((root.path() / "missing").string(), {}).error(), ENOENT);
    EXPECT_EQ(platform::DetachedProcess::start("/etc/passwd", {}).error(), EACCES);

    const auto output = root.path() / "output";
    // Open across an exec, as a pipe that somebody reads to its end would be.
    const auto leaked = std::to_string(::open("/dev/zero", O_RDONLY));
    const auto process = platform::DetachedProcess::start(
        "/bin/sh", {"-c", "{ cut -d' ' -f1,6 /proc/$$/stat; cd /proc/$$/fd; readlink 0 2 $2; } > $1.new; mv $1.new $1",
                    "sh", output.string(), leaked});
    ASSERT_EQ(process.error(), 0);
    for (int i = 0; i < 1000 && !process.hasEnded(); ++i)
        ::usleep(10'000); // real time: the process is not ours to wait for
    std::istringstream lines(fakes::TempRoot::readFile(output));
    std::string pid, session, files;
    lines >> pid >> session;
    std::getline(lines, files, '\0');
    EXPECT_EQ(files, "\n/dev/null\n/dev/null\n");
    EXPECT_NE(session, std::to_string(::getsid(0)));
    EXPECT_NE(pid, session) << "it can get no terminal by accident";
    EXPECT_EQ(::waitpid(-1, nullptr, WNOHANG), -1) << "no child is left behind";
}

} // namespace
