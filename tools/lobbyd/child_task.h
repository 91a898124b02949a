#pragma once

#include <functional>
#include <memory>
#include <string>
#include <vector>

#include <sys/types.h>

#include <QObject>
#include <QSocketNotifier>

#include "platform/linux/unique_fd.h"
#include "secret.h"

namespace lobby
{

/// Whom a child runs as.
struct Identity {
    uid_t uid = 0;
    gid_t gid = 0;
    std::vector<gid_t> groups;
};

/// How a child gets the password.
enum class PasswordRoute {
    None,
    StandardInput, ///< A line.
    Descriptor,    ///< The descriptor that PASSWD_FD names, without a newline.
};

struct ChildJob {
    std::string program;
    std::vector<std::string> arguments;
    std::vector<std::string> environment; ///< All of it: nothing is inherited.
    PasswordRoute route = PasswordRoute::None;
    std::string_view password; ///< Read while the child is started only.
    Identity identity;         ///< Taken on where this process is root.

    /// Instead of a program: makes system calls with the path, as after a fork, and returns the exit status.
    int (*body)(const char* path) = nullptr;
    std::string path;
};

struct ChildEnd {
    int status = 0;     ///< The exit status; 128 and the signal for a child that was killed.
    std::string output; ///< What it wrote to its standard output and error, the first few kilobytes of it.
};

/// A child with a process group of its own, no terminal, no core dump and none of our descriptors. Main thread; needs
/// an event loop.
class ChildTask
{
public:
    /// `ended` is called once on the main loop, never inside start(). A child that cannot be started ends with 127.
    ChildTask(const ChildJob& job, std::function<void(const ChildEnd&)> ended);
    /// Kills what still runs, and leaves it to the kernel; `ended` is not called then.
    ~ChildTask();
    ChildTask(const ChildTask&) = delete;
    ChildTask& operator=(const ChildTask&) = delete;

    /// Kills what runs and calls nobody any more, but goes on waiting for the end: a child may hang in the kernel.
    void abandon();
    bool hasEnded() const { return mPid <= 0; }

    /// Ends the child and everything of its process group by force; `ended` follows.
    void kill() const;

private:
    void watch();
    void listen();
    void finish();

    std::function<void(const ChildEnd&)> mEnded;
    pid_t mPid = -1;
    platform::UniqueFd mProcess; ///< A pidfd.
    platform::UniqueFd mOutput;
    std::unique_ptr<QSocketNotifier> mProcessNotifier;
    std::string mText;
    QObject mContext; ///< Nothing is called once this has gone.
};

} // namespace lobby
