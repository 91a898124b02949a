#pragma once

#include <chrono>
#include <optional>
#include <string>
#include <sys/types.h>
#include <variant>
#include <vector>

#include "environment.h"
#include "platform/linux/unique_fd.h"
#include "platform/linux/user_database.h"

namespace roamer::session
{

/// Gives up every right that the user has not, for good. False: this process must not go on.
[[nodiscard]] bool becomeUser(const platform::UserEntry& user);

/// Signals as a fresh process has them.
void resetSignals();

/// A child process that runs a program as a user. Ended and collected when this goes.
class UserProcess
{
public:
    struct Program {
        std::string path; ///< As the kernel sees it.
        std::vector<std::string> arguments;
        Environment environment;
        int standardInput = -1;      ///< Below 0: /dev/null. The other streams always are.
        std::vector<int> passedOn{}; ///< Become the descriptors from 3 on, in this order.
        bool endsWithParent = false; ///< It gets SIGTERM when this process is gone.
    };
    /// The process, already executing the program, or in words why there is none.
    static std::variant<UserProcess, std::string> start(const platform::UserEntry& user, const Program& program);

    ~UserProcess();
    UserProcess(UserProcess&& other) noexcept;
    UserProcess& operator=(UserProcess&&) = delete;
    UserProcess(const UserProcess&) = delete;
    UserProcess& operator=(const UserProcess&) = delete;

    /// Readable once the process has ended.
    int descriptor() const { return mDescriptor.get(); }

    /// Whether it has ended, after at most that time.
    bool endsWithin(std::chrono::milliseconds time);

    /// SIGTERM, and SIGKILL to what is still there after `patience`.
    void end(std::chrono::milliseconds patience);

private:
    UserProcess(pid_t pid, platform::UniqueFd descriptor) : mPid(pid), mDescriptor(std::move(descriptor)) {}

    pid_t mPid; ///< 0 once it is collected.
    platform::UniqueFd mDescriptor;
};

} // namespace roamer::session
