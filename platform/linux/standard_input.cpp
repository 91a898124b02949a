#include "standard_input.h"

#include <cerrno>

#include <fcntl.h>
#include <poll.h>
#include <sys/prctl.h>
#include <unistd.h>

#include "util/debug_log.h"
#include "util/utf_text.h"

namespace platform
{

namespace
{

constexpr std::size_t kMostBytes = std::size_t{16} * 1024;
constexpr double kSliceSeconds = 0.02;

/// From here on nothing of this process goes into a core file, and no other process of the user looks into it.
void keepOutOfCores()
{
    ::prctl(PR_SET_DUMPABLE, 0);
}

void letGoOfInput()
{
    const int null = ::open("/dev/null", O_RDONLY | O_CLOEXEC);
    if (null < 0) return;
    ::dup2(null, STDIN_FILENO);
    if (null != STDIN_FILENO) ::close(null);
}

class ProcessInput final : public StandardInput
{
public:
    explicit ProcessInput(RunLoop& runLoop) : mRunLoop(runLoop) {}

    Secret readPassword() override
    {
        keepOutOfCores();
        std::string text;
        text.reserve(kMostBytes + 1); // it never moves, so that no copy stays behind
        const char* problem = readInto(text);
        letGoOfInput();
        if (problem == nullptr && !roamer::isUtf8(text)) problem = "it is no UTF-8";
        Secret password(std::move(text));
        if (problem != nullptr) {
            roamer::DebugLog(1, "StandardInput: no password was taken: %s", problem);
            password.wipe();
        }
        return password;
    }

private:
    /// Null when all of it was read, else why not.
    const char* readInto(std::string& text)
    {
        while (!mRunLoop.waitsShallEnd()) {
            pollfd input{STDIN_FILENO, POLLIN, 0};
            if (::poll(&input, 1, 0) == 0) {
                mRunLoop.runFor(seconds(kSliceSeconds));
                continue;
            }
            const auto before = text.size();
            text.resize(kMostBytes + 1);
            const ssize_t got = ::read(STDIN_FILENO, text.data() + before, text.size() - before);
            const int error = errno;
            text.resize(before + static_cast<std::size_t>(got > 0 ? got : 0));
            if (got == 0) return nullptr;
            if (got < 0 && error != EINTR && error != EAGAIN) return "it cannot be read";
            if (text.size() > kMostBytes) return "it is too long";
        }
        return "its end did not come";
    }

    RunLoop& mRunLoop;
};

} // namespace

std::unique_ptr<StandardInput> makeStandardInput(RunLoop& runLoop)
{
    return std::make_unique<ProcessInput>(runLoop);
}

} // namespace platform
