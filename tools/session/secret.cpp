#include "secret.h"

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <poll.h>
#include <string.h>
#include <sys/mman.h>
#include <sys/prctl.h>
#include <sys/resource.h>
#include <termios.h>
#include <unistd.h>

namespace roamer::session
{

namespace
{

constexpr int kLookAroundMilliseconds = 200;

/// A terminal that does not show what is typed, while this lives.
class SilentTerminal
{
public:
    explicit SilentTerminal(int descriptor) : mDescriptor(descriptor)
    {
        if (::tcgetattr(mDescriptor, &mBefore) != 0) return;
        termios silent = mBefore;
        silent.c_lflag &= ~static_cast<tcflag_t>(ECHO);
        mIsSilent = ::tcsetattr(mDescriptor, TCSAFLUSH, &silent) == 0;
    }
    ~SilentTerminal()
    {
        if (mIsSilent) ::tcsetattr(mDescriptor, TCSAFLUSH, &mBefore);
    }
    SilentTerminal(const SilentTerminal&) = delete;
    SilentTerminal& operator=(const SilentTerminal&) = delete;

private:
    int mDescriptor;
    bool mIsSilent = false;
    termios mBefore{};
};

bool hasSomethingToRead(int descriptor)
{
    pollfd question{descriptor, POLLIN, 0};
    return ::poll(&question, 1, kLookAroundMilliseconds) > 0;
}

} // namespace

void forbidMemoryImages()
{
    // The limit alone does not stop an image that goes to a program; the attribute alone is lost with the next exec.
    ::prctl(PR_SET_DUMPABLE, 0);
    const rlimit none{0, 0};
    ::setrlimit(RLIMIT_CORE, &none);
}

Secret::Secret()
{
    void* pages = ::mmap(nullptr, kCapacity, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
    if (pages == MAP_FAILED) return;
    // Where the limits do not allow it, a password that might be swapped is better than no login.
    static_cast<void>(::mlock(pages, kCapacity) == 0);
    ::madvise(pages, kCapacity, MADV_DONTDUMP);
    ::madvise(pages, kCapacity, MADV_WIPEONFORK);
    mBytes = static_cast<std::byte*>(pages);
}

Secret::~Secret()
{
    wipe();
    if (mBytes != nullptr) ::munmap(mBytes, kCapacity);
}

void Secret::wipe()
{
    if (mBytes != nullptr) ::explicit_bzero(mBytes, kCapacity);
    mSize = 0;
}

std::optional<std::string> Secret::readFrom(int descriptor, const std::function<bool()>& isWanted)
{
    if (mBytes == nullptr) return "there is no memory for the password";
    if (::isatty(descriptor) == 0) return readToEnd(descriptor, false, isWanted);

    std::fputs("Password: ", stderr);
    const SilentTerminal silent(descriptor);
    auto problem = readToEnd(descriptor, true, isWanted);
    std::fputs("\n", stderr);
    return problem;
}

std::optional<std::string> Secret::readToEnd(int descriptor, bool oneLine, const std::function<bool()>& isWanted)
{
    while (true) {
        if (!hasSomethingToRead(descriptor)) {
            if (isWanted()) continue;
            return "nobody waits for the login any more";
        }
        if (mSize == kCapacity) return "the password is longer than any password is";
        const ssize_t got = ::read(descriptor, mBytes + mSize, kCapacity - mSize);
        if (got < 0 && (errno == EINTR || errno == EAGAIN)) continue;
        if (got < 0) return std::string("the password could not be read: ") + std::strerror(errno);
        if (got == 0) return std::nullopt;
        mSize += static_cast<std::size_t>(got);
        if (oneLine && mBytes[mSize - 1] == std::byte{'\n'}) {
            --mSize;
            return std::nullopt;
        }
    }
}

} // namespace roamer::session
