#include "content.h"

#include <xxhash.h>

#include <algorithm>
#include <cerrno>
#include <memory>
#include <vector>

#include "calls.h"
#include "seam.h"
#include "system.h"

namespace braid
{

namespace
{

constexpr std::size_t kBlock = std::size_t{256} * 1024;
constexpr std::int64_t kKernelCopyFrom =
    std::int64_t{4} * 1024 * 1024; // below, passing the bytes through us costs little

struct HashStateDeleter {
    void operator()(XXH3_state_t* state) const { XXH3_freeState(state); }
};

class Hasher
{
public:
    Hasher() : mState(XXH3_createState()) { XXH3_128bits_reset(mState.get()); }
    void add(const char* bytes, std::size_t length) { XXH3_128bits_update(mState.get(), bytes, length); }
    Digest result() const
    {
        const XXH128_hash_t hash = XXH3_128bits_digest(mState.get());
        return Digest{hash.high64, hash.low64};
    }

private:
    std::unique_ptr<XXH3_state_t, HashStateDeleter> mState;
};

std::vector<char>& sharedBlock()
{
    thread_local std::vector<char> block(kBlock);
    return block;
}

/// Bytes read, 0 at the end, or a negative errno value.
ssize_t readSome(int descriptor, std::vector<char>& block)
{
    if (int code = seam::ask(seam::Operation::Read, descriptor, "")) return -code;
    while (true) {
        const ssize_t got = disk::system().read(descriptor, block.data(), block.size());
        if (got >= 0) return got;
        if (errno != EINTR) return -errno;
    }
}

int writeAll(int descriptor, const char* bytes, std::size_t length)
{
    if (int code = seam::ask(seam::Operation::Write, descriptor, "")) return code;
    while (length > 0) {
        const ssize_t put = disk::system().write(descriptor, bytes, length);
        if (put < 0) {
            if (errno == EINTR) continue;
            return errno;
        }
        bytes += put;
        length -= static_cast<std::size_t>(put);
    }
    return 0;
}

/// Lets the kernel copy `length` bytes at `offset` of both files. -1: not between these file systems.
int copyRangeInKernel(int source, int target, std::int64_t offset, std::int64_t length, const std::stop_token& stop,
                      const ByteCounter& count)
{
    constexpr std::int64_t kChunk = std::int64_t{16} * 1024 * 1024; // a stop request is noticed between two chunks
    bool any = false;
    while (length > 0) {
        if (stop.stop_requested()) return ECANCELED;
        seam::count(seam::Operation::Read, source);
        if (int code = seam::ask(seam::Operation::Write, target, "")) return code;
        off_t from = offset;
        off_t to = offset;
        const ssize_t copied = disk::system().copy_file_range(source, &from, target, &to,
                                                              static_cast<std::size_t>(std::min(length, kChunk)));
        if (copied < 0) {
            if (errno == EINTR) continue;
            const bool unable = errno == EXDEV || errno == EINVAL || errno == ENOSYS || errno == EOPNOTSUPP;
            return unable && !any ? -1 : errno;
        }
        if (copied == 0) return any ? 0 : -1; // some file systems answer 0 instead of refusing
        any = true;
        offset += copied;
        length -= copied;
        count(static_cast<std::uint64_t>(copied));
    }
    return 0;
}

int copyRangeThroughHere(int source, int target, std::int64_t offset, std::int64_t length, const std::stop_token& stop,
                         const ByteCounter& count)
{
    std::vector<char>& block = sharedBlock();
    if (disk::system().lseek(source, offset, SEEK_SET) < 0 || disk::system().lseek(target, offset, SEEK_SET) < 0)
        return errno;
    while (length > 0) {
        if (stop.stop_requested()) return ECANCELED;
        const ssize_t got = readSome(source, block);
        if (got < 0) return static_cast<int>(-got);
        if (got == 0) return 0;
        const auto use = std::min<std::int64_t>(got, length);
        if (int code = writeAll(target, block.data(), static_cast<std::size_t>(use))) return code;
        length -= use;
        count(static_cast<std::uint64_t>(use));
    }
    return 0;
}

/// Copies only the parts of a file that hold data; -1: this file system does not tell which.
int copyParts(const Descriptor& source, std::int64_t size, const Descriptor& target, const std::stop_token& stop,
              const ByteCounter& count)
{
    std::int64_t offset = 0;
    while (offset < size) {
        const off_t data = disk::system().lseek(source.number(), offset, SEEK_DATA);
        if (data < 0) {
            if (errno == ENXIO) break; // nothing but a hole up to the end
            return offset == 0 ? -1 : errno;
        }
        const off_t hole = disk::system().lseek(source.number(), data, SEEK_HOLE);
        if (hole < 0) return errno;
        const auto length = std::min<std::int64_t>(hole, size) - data;
        int code = copyRangeInKernel(source.number(), target.number(), data, length, stop, count);
        if (code == -1) code = copyRangeThroughHere(source.number(), target.number(), data, length, stop, count);
        if (code != 0) return code;
        offset = hole;
    }
    if (int code = seam::ask(seam::Operation::Write, target.number(), "")) return code;
    return disk::system().ftruncate(target.number(), size) < 0 ? errno : 0;
}

} // namespace

Digest digestOf(std::string_view bytes)
{
    const XXH128_hash_t hash = XXH3_128bits(bytes.data(), bytes.size());
    return Digest{hash.high64, hash.low64};
}

Outcome<Digest> digestFile(int folder, const char* name, const Stat& seen, const std::stop_token& stop)
{
    auto file = disk::openFile(folder, name);
    if (!file) return file.problem();
    const auto before = disk::statOf(file->number());
    if (!before) return before.problem();
    if (!isUnchanged(*before, seen)) return Problem{EAGAIN, "compare it", name};

    Hasher hasher;
    std::vector<char>& block = sharedBlock();
    while (true) {
        if (stop.stop_requested()) return Problem{ECANCELED, "compare it", name};
        const ssize_t got = readSome(file->number(), block);
        if (got < 0) return Problem{static_cast<int>(-got), "read it", name};
        if (got == 0) break;
        hasher.add(block.data(), static_cast<std::size_t>(got));
    }
    const auto after = disk::statOf(file->number());
    if (!after) return after.problem();
    if (!isUnchanged(*after, seen)) return Problem{EAGAIN, "compare it", name};
    return hasher.result();
}

Outcome<Digest> digestLink(int folder, const char* name)
{
    const auto target = disk::readLink(folder, name);
    if (!target) return target.problem();
    return digestOf(*target);
}

Outcome<std::optional<Digest>> copyContent(const Descriptor& source, const Stat& sourceStat, const Descriptor& target,
                                           const std::stop_token& stop, const ByteCounter& count)
{
    if (sourceStat.sparse || sourceStat.size >= kKernelCopyFrom) {
        const int code = copyParts(source, sourceStat.size, target, stop, count);
        if (code == 0) return std::optional<Digest>{};
        if (code != -1) return Problem{code, "copy it", ""};
    }
    Hasher hasher;
    std::vector<char>& block = sharedBlock();
    if (disk::system().lseek(source.number(), 0, SEEK_SET) < 0) return Problem{errno, "read it", ""};
    while (true) {
        if (stop.stop_requested()) return Problem{ECANCELED, "copy it", ""};
        const ssize_t got = readSome(source.number(), block);
        if (got < 0) return Problem{static_cast<int>(-got), "read it", ""};
        if (got == 0) break;
        hasher.add(block.data(), static_cast<std::size_t>(got));
        if (int code = writeAll(target.number(), block.data(), static_cast<std::size_t>(got))) {
            return Problem{code, "write a copy of it", ""};
        }
        count(static_cast<std::uint64_t>(got));
    }
    return std::optional<Digest>{hasher.result()};
}

} // namespace braid
