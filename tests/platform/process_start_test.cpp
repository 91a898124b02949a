#include "platform/linux/process_start.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <functional>
#include <sstream>

#include <fcntl.h>
#include <sys/wait.h>
#include <unistd.h>

#include "tests/fakes/temp_root.h"

namespace
{

using platform::DetachedProcess;

/// Real time: the process is not ours to wait for.
bool waitFor(const std::function<bool()>& condition)
{
    for (int i = 0; i < 1000; ++i) {
        if (condition()) return true;
        ::usleep(10'000);
    }
    return false;
}

TEST(DetachedProcess, SaysAtOnceWhatCannotBeStarted)
{
    fakes::TempRoot root;
    fakes::TempRoot::writeFile(root.path() / "text", "no program");
    EXPECT_EQ(DetachedProcess::start((root.path() / "missing").string(), {}).error(), ENOENT);
    EXPECT_EQ(DetachedProcess::start((root.path() / "text").string(), {}).error(), EACCES);
    EXPECT_EQ(::waitpid(-1, nullptr, WNOHANG), -1) << "no child is left behind";
    EXPECT_EQ(errno, ECHILD);
}

TEST(DetachedProcess, StandsOnItsOwnFeet)
{
    fakes::TempRoot root;
    const auto output = root.path() / "output";
    // Open across an exec, as a pipe that somebody reads to its end would be.
    const int leaked = ::open("/dev/zero", O_RDONLY);
    const std::string script = "for i in 0 2; do readlink /proc/$$/fd/$i; done > \"$1.new\";"
                               "readlink /proc/$$/fd/" +
                               std::to_string(leaked) +
                               " >> \"$1.new\"; cut -d' ' -f1,6 /proc/$$/stat >> \"$1.new\";"
                               "mv \"$1.new\" \"$1\"; sleep 0.3";
    const auto process = DetachedProcess::start("/bin/sh", {"-c", script, "sh", output.string()});
    ASSERT_EQ(process.error(), 0);
    ASSERT_TRUE(waitFor([&] { return std::filesystem::exists(output); }));
    EXPECT_FALSE(process.hasEnded());

    std::istringstream lines(fakes::TempRoot::readFile(output));
    std::string input;
    std::string error;
    std::string pid;
    std::string session;
    lines >> input >> error >> pid >> session;
    EXPECT_EQ(input, "/dev/null");
    EXPECT_EQ(error, "/dev/null");
    EXPECT_NE(session, std::to_string(::getsid(0)));
    EXPECT_NE(pid, session) << "it can get no terminal by accident";
    EXPECT_EQ(::waitpid(std::stoi(pid), nullptr, WNOHANG), -1) << "it is nobody's zombie";
    EXPECT_TRUE(waitFor([&] { return process.hasEnded(); }));
    ::close(leaked);
}

} // namespace
