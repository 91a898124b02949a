#include <fcntl.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <charconv>

#include "braid/disk/calls.h"
#include "braid/engine.h"

namespace braid
{

namespace
{

EngineLock::Holder readHolder(int descriptor)
{
    std::array<char, 32> text{};
    EngineLock::Holder holder;
    const ssize_t length = ::pread(descriptor, text.data(), text.size(), 0);
    if (length > 0) std::from_chars(text.data(), text.data() + length, holder.pid);
    return holder;
}

struct flock wholeFile()
{
    struct flock range {
    };
    range.l_type = F_WRLCK;
    range.l_whence = SEEK_SET;
    return range;
}

} // namespace

std::variant<std::unique_ptr<EngineLock>, EngineLock::Holder, std::string>
EngineLock::take(const std::filesystem::path& localHome, bool leavesNoTrace)
{
    const auto refuse = [&](int code) {
        return "The marker folder of " + localHome.native() + " cannot be used: " + errorWords(code) + ".";
    };
    const Descriptor root{::open(localHome.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC)};
    if (!root) return refuse(errno);
    if (!leavesNoTrace) {
        const int code = disk::makeFolder(root.number(), ".Braid", 0700);
        if (code != 0 && code != EEXIST) return refuse(code);
    }
    const auto folder = disk::openFolder(root.number(), ".Braid");
    if (!folder) return refuse(folder.problem().code);
    Descriptor file{
        ::openat(folder->number(), "lock", O_RDWR | (leavesNoTrace ? 0 : O_CREAT) | O_NOFOLLOW | O_CLOEXEC, 0600)};
    if (!file) return refuse(errno);

    struct flock range = wholeFile();
    if (::fcntl(file.number(), F_OFD_SETLK, &range) < 0) {
        // Over CIFS a lock that another process holds is EACCES.
        if (errno == EAGAIN || errno == EACCES) return readHolder(file.number());
        return refuse(errno);
    }
    const std::string pid = std::to_string(::getpid()) + "\n";
    if (!leavesNoTrace && (::ftruncate(file.number(), 0) < 0 ||
                           ::pwrite(file.number(), pid.data(), pid.size(), 0) != static_cast<ssize_t>(pid.size()))) {
        return refuse(errno);
    }
    const int number = ::fcntl(file.number(), F_DUPFD_CLOEXEC, 0);
    if (number < 0) return refuse(errno);
    return std::unique_ptr<EngineLock>{new EngineLock{number, leavesNoTrace}};
}

std::optional<EngineLock::Holder> EngineLock::holder(const std::filesystem::path& localHome)
{
    const Descriptor file{::open((localHome / ".Braid" / "lock").c_str(), O_RDONLY | O_NOFOLLOW | O_CLOEXEC)};
    if (!file) return std::nullopt;
    struct flock range = wholeFile();
    if (::fcntl(file.number(), F_OFD_GETLK, &range) < 0 || range.l_type == F_UNLCK) return std::nullopt;
    return readHolder(file.number());
}

EngineLock::EngineLock(int descriptor, bool leavesNoTrace) : mDescriptor(descriptor), mLeavesNoTrace(leavesNoTrace) {}

EngineLock::~EngineLock()
{
    // An empty file says that nobody holds it; closing frees the lock.
    if (!mLeavesNoTrace && ::ftruncate(mDescriptor, 0) < 0) {
        // The next holder writes over it.
    }
    ::close(mDescriptor);
}

} // namespace braid
