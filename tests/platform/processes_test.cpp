// Processes: the list of all, and one that is let go.

#include <gtest/gtest.h>

#include <algorithm>
#include <fcntl.h>
#include <sstream>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include "platform/linux/process_start.h"
#include "platform/linux/process_table.h"
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

} // namespace
