#pragma once

#include <string>
#include <vector>

#include <sys/types.h>

#include "platform/linux/unique_fd.h"

namespace platform
{

/// The way from a forked child to its program, for processes with threads: after the fork only calls that are safe
/// there, and the error of the step that failed comes back through a pipe that the exec closes.
class ExecPipe
{
public:
    struct Message {
        pid_t pid = 0; ///< 0: nobody said.
        int error = 0; ///< The errno of the step that failed; 0: the program runs.
    };

    /// 0 or an errno.
    int open();

    // In the child.
    /// Moves the pipe to a descriptor at or above `lowest`.
    void moveAbove(int lowest);
    void tell(const Message& message) const;
    /// The write end, for whoever closes descriptors.
    int childDescriptor() const { return mWriteEnd.get(); }
    /// Becomes the program, or tells why not and comes back.
    void execute(char* const* vector) const;

    // In the parent.
    void closeChildEnd() { mWriteEnd = {}; }
    /// Waits until the program runs or the child has ended; the last error of all messages.
    Message readMessages();

private:
    UniqueFd mReadEnd;
    UniqueFd mWriteEnd;
};

/// The arguments as exec takes them. Borrows the texts.
std::vector<char*> argumentVector(const std::string& program, const std::vector<std::string>& arguments);

// In the child.
/// Every signal does what it does to a fresh process, and none is held back.
void resetSignals();
/// Becomes the real user for good. 0 or an errno.
int becomeRealUser();

} // namespace platform
