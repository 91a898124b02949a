#pragma once

#include <csignal>
#include <cstdlib>
#include <fcntl.h>
#include <filesystem>
#include <fstream>
#include <stdexcept>
#include <string>
#include <sys/wait.h>
#include <unistd.h>

namespace fakes
{

/// A message bus of the test's own. While it lives, DBUS_SESSION_BUS_ADDRESS leads to it and
/// DBUS_SYSTEM_BUS_ADDRESS to nowhere.
class PrivateBus
{
public:
    PrivateBus()
    {
        char name[] = "/tmp/roamer-bus-XXXXXX";
        if (::mkdtemp(name) == nullptr) throw std::runtime_error("no folder for the private bus");
        mFolder = name;
        const auto address = "unix:path=" + mFolder + "/bus";
        std::ofstream(mFolder + "/bus.conf")
            << "<busconfig><type>session</type><listen>" << address << "</listen><auth>EXTERNAL</auth>"
            << "<policy context=\"default\"><allow send_destination=\"*\" eavesdrop=\"true\"/>"
            << "<allow eavesdrop=\"true\"/><allow own=\"*\"/></policy></busconfig>\n";
        start();
        ::setenv("DBUS_SESSION_BUS_ADDRESS", address.c_str(), 1);
        ::setenv("DBUS_SYSTEM_BUS_ADDRESS", ("unix:path=" + mFolder + "/nowhere").c_str(), 1);
    }
    ~PrivateBus()
    {
        stop();
        ::unsetenv("DBUS_SESSION_BUS_ADDRESS");
        ::unsetenv("DBUS_SYSTEM_BUS_ADDRESS");
        std::error_code ignored;
        std::filesystem::remove_all(mFolder, ignored);
    }
    PrivateBus(const PrivateBus&) = delete;
    PrivateBus& operator=(const PrivateBus&) = delete;

    /// The bus goes away under everybody's feet.
    void stop()
    {
        if (mDaemon <= 0) return;
        ::kill(mDaemon, SIGTERM);
        ::waitpid(mDaemon, nullptr, 0);
        mDaemon = -1;
    }

private:
    /// Comes back once the daemon listens: it then prints its address.
    void start()
    {
        int ready[2];
        if (::pipe2(ready, O_CLOEXEC) != 0) throw std::runtime_error("no pipe for the private bus");
        const std::string configuration = "--config-file=" + mFolder + "/bus.conf";
        const std::string print = "--print-address=" + std::to_string(kAddressDescriptor);
        mDaemon = ::fork();
        if (mDaemon == 0) {
            ::dup2(ready[1], kAddressDescriptor);
            ::dup2(::open("/dev/null", O_WRONLY), STDERR_FILENO); // It grumbles about limits.
            ::execlp("dbus-daemon", "dbus-daemon", configuration.c_str(), "--nofork", print.c_str(), nullptr);
            ::_exit(127);
        }
        ::close(ready[1]);
        char byte = 0;
        const bool listens = ::read(ready[0], &byte, 1) == 1;
        ::close(ready[0]);
        if (!listens) throw std::runtime_error("dbus-daemon did not start");
    }

    static constexpr int kAddressDescriptor = 9;
    std::string mFolder;
    pid_t mDaemon = -1;
};

} // namespace fakes
