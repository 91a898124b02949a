#include "durable_file.h"

#include <cerrno>
#include <cstdio>
#include <system_error>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include "braid/archive/reserve.h"
#include "braid/disk/calls.h"

namespace braid::agent
{

namespace
{

class Descriptor
{
public:
    explicit Descriptor(int number) : mNumber(number) {}
    ~Descriptor() { close(); }
    Descriptor(const Descriptor&) = delete;
    Descriptor& operator=(const Descriptor&) = delete;
    int number() const { return mNumber; }
    bool isOpen() const { return mNumber >= 0; }
    /// False when the file system reports a late error, as network file systems do.
    bool close()
    {
        const bool closed = mNumber < 0 || ::close(mNumber) == 0;
        mNumber = -1;
        return closed;
    }

private:
    int mNumber;
};

std::string problem(const char* call, const std::filesystem::path& path)
{
    const std::string reason = std::generic_category().message(errno);
    return std::string(call) + " \"" + path.string() + "\": " + reason;
}

bool writeAll(int descriptor, std::span<const std::byte> bytes)
{
    while (!bytes.empty()) {
        const ssize_t written = ::write(descriptor, bytes.data(), bytes.size());
        if (written < 0 && errno == EINTR) continue;
        if (written < 0) return false;
        bytes = bytes.subspan(static_cast<std::size_t>(written));
    }
    return true;
}

} // namespace

std::variant<std::monostate, std::vector<std::byte>, std::string> readFile(const std::filesystem::path& path,
                                                                           std::size_t limitBytes)
{
    // Without O_NONBLOCK a pipe under this name would hold the process.
    const Descriptor file(::open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NOFOLLOW | O_NONBLOCK));
    if (!file.isOpen()) {
        if (errno == ENOENT) return std::monostate{};
        return problem("open", path);
    }
    struct stat status {
    };
    if (::fstat(file.number(), &status) != 0) return problem("fstat", path);
    if (!S_ISREG(status.st_mode)) return "\"" + path.string() + "\" is not a file";
    std::vector<std::byte> bytes;
    std::byte buffer[16384];
    while (true) {
        const ssize_t count = ::read(file.number(), buffer, sizeof buffer);
        if (count < 0 && errno == EINTR) continue;
        if (count < 0) return problem("read", path);
        if (count == 0) return bytes;
        bytes.insert(bytes.end(), buffer, buffer + count);
        if (bytes.size() > limitBytes) return "\"" + path.string() + "\" is too large";
    }
}

std::optional<std::string> replaceFile(const std::filesystem::path& path, std::span<const std::byte> bytes)
{
    const std::filesystem::path fresh = path.string() + ".new";
    Descriptor file(::open(fresh.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC | O_NOFOLLOW, 0600));
    if (!file.isOpen()) return problem("open", fresh);
    if (!writeAll(file.number(), bytes)) return problem("write", fresh);
    if (::fsync(file.number()) != 0) return problem("fsync", fresh);
    if (!file.close()) return problem("close", fresh);
    if (std::rename(fresh.c_str(), path.c_str()) != 0) return problem("rename", fresh);
    syncFolder(path.parent_path());
    return std::nullopt;
}

std::optional<std::string> replaceFileOfHome(const std::filesystem::path& path, std::span<const std::byte> bytes)
{
    auto reason = replaceFile(path, bytes);
    if (!reason) return std::nullopt;
    const auto folder = disk::openTop(path.parent_path().native());
    if (!folder) return reason;
    Reserve reserve{folder->number()};
    if (!reserve.release()) return reason;
    reason = replaceFile(path, bytes);
    reserve.hold();
    return reason;
}

void syncFolder(const std::filesystem::path& folder)
{
    const Descriptor descriptor(::open(folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    if (descriptor.isOpen()) {
        ::fsync(descriptor.number());
    }
}

} // namespace braid::agent
