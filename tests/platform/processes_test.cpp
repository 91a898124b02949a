// Processes: the list of all, and one that is let go.

#include <gmock/gmock.h>

#include <algorithm>
#include <csignal>
#include <fcntl.h>
#include <sstream>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include "platform/failure.h"
#include "platform/linux/application.h"
#include "platform/linux/child_conversation.h"
#include "platform/linux/end_signals.h"
#include "platform/linux/process_launcher.h"
#include "platform/linux/process_start.h"
#include "platform/linux/process_table.h"
#include "platform/linux/run_loop.h"
#include "platform/linux/standard_input.h"
#include "tests/fakes/recording_log.h"
#include "tests/fakes/temp_root.h"

namespace
{

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

TEST(ProcessLauncher, RunsChildrenAsTheUserAndLeavesNoZombie)
{
    fakes::TempRoot root;
    fakes::RecordingLog log;
    const auto application = platform::makeApplication();
    const auto loop = platform::makeRunLoop();
    const auto launcher = platform::makeProcessLauncher();
    const auto endOf = [&](int pid) {
        for (int i = 0; i < 1000 && !launcher->hasEnded(pid); ++i)
            loop->runFor(platform::seconds(0.01));
        EXPECT_EQ(launcher->terminate(pid), -1);
        EXPECT_EQ(::waitpid(pid, nullptr, WNOHANG), -1) << "it has been waited for";
    };
    EXPECT_THROW(launcher->launchTask("/etc/passwd", {}), platform::Failure);
    ::signal(SIGHUP, SIG_IGN);
    const int task = launcher->launchTask("/bin/sleep", {"1000"});
    EXPECT_FALSE(launcher->hasEnded(task));
    EXPECT_EQ(launcher->terminate(task), 0);
    endOf(task);
    EXPECT_EQ(launcher->terminate(::getppid()), -1) << "no child of ours";

    if (::getuid() != 0) GTEST_SKIP() << "only root runs programs as others";
    std::filesystem::permissions(root.path(), std::filesystem::perms::all);
    const auto output = root.path() / "output";
    ::fcntl(::open("/dev/zero", O_RDONLY), F_DUPFD, 24); // one that is to be closed, at the edge
    endOf(launcher->launchAsUser(
        "/bin/sh",
        {"-c", "{ id -u; id -G; grep SigIgn /proc/self/status; ls /proc/$$/fd | grep -c '^24$'; } > $0",
         output.string()},
        {"nobody", 65534, 65534}));
    EXPECT_THAT(fakes::TempRoot::readFile(output), "65534\n65534\nSigIgn:\t0000000000000000\n0\n");
    endOf(launcher->launchAsUser("/etc/passwd", {}, {"nobody", 65534, 65534}));
    EXPECT_EQ(log.countContaining("trying to execute scheduled command (/etc/passwd)."), 1);
    ::signal(SIGHUP, SIG_DFL);
}

TEST(StandardInput, GivesThePasswordOnceAndKeepsNothing)
{
    const auto application = platform::makeApplication();
    const auto loop = platform::makeRunLoop();
    const int before = ::fcntl(STDIN_FILENO, F_DUPFD_CLOEXEC, 3);
    const auto read = [&](const std::string& text, bool ends = true) {
        int pipe[2];
        EXPECT_EQ(::pipe(pipe), 0);
        ::dup2(pipe[0], STDIN_FILENO);
        ::close(pipe[0]);
        // In two pieces, the second one while it waits.
        EXPECT_EQ(::write(pipe[1], text.data(), text.size() / 2), static_cast<ssize_t>(text.size() / 2));
        const auto rest = loop->after(std::chrono::milliseconds(30), [&] {
            const auto second = text.substr(text.size() / 2);
            EXPECT_EQ(::write(pipe[1], second.data(), second.size()), static_cast<ssize_t>(second.size()));
            if (ends) ::close(pipe[1]);
            if (!ends) loop->endWaits();
        });
        return platform::makeStandardInput(*loop)->readPassword().text();
    };
    EXPECT_EQ(read("sec\xc3\xbcret \n"), "sec\xc3\xbcret \n") << "as it came";
    EXPECT_EQ(platform::makeStandardInput(*loop)->readPassword().text(), "") << "there is nothing any more";
    EXPECT_EQ(::prctl(PR_GET_DUMPABLE), 0);
    EXPECT_EQ(read("\xff\xfe"), std::nullopt);
    EXPECT_EQ(read(std::string(20'000, 'x')), std::nullopt);
    EXPECT_EQ(read("half", false), std::nullopt) << "its end did not come";
    ::prctl(PR_SET_DUMPABLE, 1);
    ::dup2(before, STDIN_FILENO);
}

TEST(EndSignals, AskForAnEndThroughTheEventLoop)
{
    const auto application = platform::makeApplication();
    const auto loop = platform::makeRunLoop();
    int asked = 0;
    {
        const platform::EndSignals signals([&] { ++asked; });
        for (const int signal : {SIGTERM, SIGINT, SIGHUP})
            ::raise(signal);
        const auto without = platform::converseWithChild("/usr/bin/yes", {}, std::size_t{1} << 40);
        EXPECT_EQ(without.problem, "this process is to end") << "a child that is waited for elsewhere";
        EXPECT_EQ(asked, 0);
        loop->runFor(std::chrono::milliseconds(20));
    }
    EXPECT_EQ(asked, 1);
    EXPECT_GT(::alarm(0), 20U) << "an end that does not come is brought about";
}

} // namespace
