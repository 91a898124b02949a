#include "content.h"

#include <xxhash.h>

#include <algorithm>
#include <cerrno>
#include <limits>
#include <memory>

#include "calls.h"
#include "file_system.h"
#include "seam.h"
#include "system.h"

namespace braid
{

namespace
{

constexpr auto kBlock = static_cast<std::size_t>(kBlockBytes);
constexpr std::size_t kPage = 4096; // the smallest hole worth keeping

/// A block-sized buffer of this thread; only what is used of it takes memory.
char* blockBuffer()
{
    thread_local const std::unique_ptr<char[]> block = std::make_unique_for_overwrite<char[]>(kBlock);
    return block.get();
}

bool isZero(std::string_view bytes)
{
    return bytes.empty() || (bytes[0] == 0 && bytes.substr(1) == bytes.substr(0, bytes.size() - 1));
}

Digest digestOfZeros(std::size_t length)
{
    if (length == kBlock) {
        static const Digest whole = digestOf(std::string(kBlock, '\0'));
        return whole;
    }
    return digestOf(std::string(length, '\0'));
}

/// Fills `length` bytes, or less at the end of the file; a negative errno value after a failure.
ssize_t readFully(int file, char* bytes, std::size_t length)
{
    std::size_t have = 0;
    while (have < length) {
        if (int code = seam::ask(seam::Operation::Read, file, "")) return -code;
        const ssize_t got = disk::system().read(file, bytes + have, length - have);
        if (got < 0 && errno == EINTR) continue;
        if (got < 0) return -errno;
        if (got == 0) break;
        have += static_cast<std::size_t>(got);
    }
    return static_cast<ssize_t>(have);
}

int writeAll(int descriptor, std::string_view bytes)
{
    if (bytes.empty()) return 0;
    if (int code = seam::ask(seam::Operation::Write, descriptor, "")) return code;
    while (!bytes.empty()) {
        const ssize_t put = disk::system().write(descriptor, bytes.data(), bytes.size());
        if (put < 0) {
            if (errno == EINTR) continue;
            return errno;
        }
        bytes.remove_prefix(static_cast<std::size_t>(put));
    }
    return 0;
}

int moveTo(int file, std::int64_t offset)
{
    return disk::system().lseek(file, offset, SEEK_SET) < 0 ? errno : 0;
}

int setSize(int file, std::int64_t size)
{
    if (int code = seam::ask(seam::Operation::Write, file, "")) return code;
    return disk::system().ftruncate(file, size) < 0 ? errno : 0;
}

/// Where in a sparse file the next data begins, looked up as the reading goes on.
class Holes
{
public:
    Holes(int file, const Stat& stat) : mFile(file), mIsSparse(stat.sparse) {}

    /// There is nothing but a hole from `from` up to `to`. Moves the file's position.
    bool isHole(std::int64_t from, std::int64_t to)
    {
        if (!mIsSparse) return false;
        if (mData < from) {
            mData = disk::system().lseek(mFile, from, SEEK_DATA);
            if (mData < 0 && errno == ENXIO) mData = std::numeric_limits<std::int64_t>::max(); // a hole up to the end
            mIsSparse = mData >= 0; // this file system does not tell
        }
        return mIsSparse && mData >= to;
    }

private:
    int mFile;
    bool mIsSparse;
    std::int64_t mData = -1;
};

/// Calls `visit(offset, bytes)` for each block, in order; bytes without an address stand for a hole. Its errno value
/// ends the reading.
template <class Visit>
Outcome<ContentDigest> eachBlock(const Descriptor& file, const Stat& stat, const std::stop_token& stop, Visit visit)
{
    ContentDigest digest;
    Holes holes{file.number(), stat};
    bool isInPlace = false;
    std::int64_t offset = 0;
    do {
        if (stop.stop_requested()) return Problem{ECANCELED, "read it", ""};
        auto length = static_cast<std::size_t>(std::min(kBlockBytes, stat.size - offset));
        std::string_view bytes{nullptr, length};
        Digest block;
        if (holes.isHole(offset, offset + static_cast<std::int64_t>(length))) {
            block = digestOfZeros(length);
            isInPlace = false;
        } else {
            // Looking for holes moves the position; else it follows by itself.
            if (!isInPlace || stat.sparse) {
                if (int code = moveTo(file.number(), offset)) return Problem{code, "read it", ""};
            }
            isInPlace = true;
            const ssize_t got = readFully(file.number(), blockBuffer(), length);
            if (got < 0) return Problem{static_cast<int>(-got), "read it", ""};
            // Cut short meanwhile: whoever asked looks at the file once more and sees.
            if (static_cast<std::size_t>(got) < length) return Problem{EAGAIN, "read it", ""};
            bytes = {blockBuffer(), length};
            block = digestOf(bytes);
            if (offset == 0) digest.isDatabase = isDatabaseStart(bytes);
        }
        if (stat.size > kBlockBytes) digest.blocks.push_back(block);
        digest.whole = block;
        if (const Problem problem = visit(offset, bytes); problem.code != 0) return problem;
        offset += static_cast<std::int64_t>(length);
    } while (offset < stat.size);
    if (!digest.blocks.empty()) {
        digest.whole =
            digestOf({reinterpret_cast<const char*>(digest.blocks.data()), digest.blocks.size() * sizeof(Digest)});
    }
    return digest;
}

Problem writeProblem(int code)
{
    return {code, "write a copy of it", ""};
}

/// Leaves out pages of nothing but zeros; the file's position ends up anywhere.
int writeWithHoles(int target, std::int64_t offset, std::string_view bytes)
{
    while (!bytes.empty()) {
        std::size_t end = 0;
        while (end < bytes.size() && !isZero(bytes.substr(end, kPage)))
            end += kPage;
        end = std::min(end, bytes.size());
        if (end > 0) {
            if (int code = moveTo(target, offset)) return code;
            if (int code = writeAll(target, bytes.substr(0, end))) return code;
        }
        const std::size_t step = std::min(bytes.size(), end + kPage); // and the page that ended it
        offset += static_cast<std::int64_t>(step);
        bytes.remove_prefix(step);
    }
    return 0;
}

} // namespace

Digest digestOf(std::string_view bytes)
{
    const XXH128_hash_t hash = XXH3_128bits(bytes.data(), bytes.size());
    return Digest{hash.high64, hash.low64};
}

Outcome<ContentDigest> digestOpen(const Descriptor& file, const Stat& stat, const std::stop_token& stop)
{
    return eachBlock(file, stat, stop, [](std::int64_t, std::string_view) { return Problem{}; });
}

Outcome<Digest> digestFile(int folder, const char* name, const Stat& seen, const std::stop_token& stop)
{
    auto file = disk::openFile(folder, name);
    if (!file) return file.problem();
    const auto before = disk::statOf(file->number());
    if (!before) return before.problem();
    if (!isUnchanged(*before, seen)) return Problem{EAGAIN, "compare it", name};
    const auto digest = digestOpen(*file, seen, stop);
    if (!digest) return Problem{digest.problem().code, digest.problem().call, name};
    const auto after = disk::statOf(file->number());
    if (!after) return after.problem();
    if (!isUnchanged(*after, seen)) return Problem{EAGAIN, "compare it", name};
    return digest->whole;
}

Outcome<Digest> digestLink(int folder, const char* name)
{
    const auto target = disk::readLink(folder, name);
    if (!target) return target.problem();
    return digestOf(*target);
}

Outcome<ContentDigest> copyContent(const Descriptor& source, const Stat& stat, const Descriptor& target,
                                   const std::stop_token& stop, const ByteCounter& count)
{
    if (stat.size >= kLargeFile) {
        if (int code = seam::ask(seam::Operation::Write, target.number(), "")) return writeProblem(code);
        if (disk::system().clone(target.number(), source.number()) == 0) {
            count(static_cast<std::uint64_t>(stat.size));
            return digestOpen(source, stat, stop);
        }
    }
    auto digest = eachBlock(source, stat, stop, [&](std::int64_t offset, std::string_view bytes) {
        if (!bytes.data()) return Problem{};
        const int code =
            stat.sparse ? writeWithHoles(target.number(), offset, bytes) : writeAll(target.number(), bytes);
        if (code != 0) return writeProblem(code);
        count(bytes.size());
        return Problem{};
    });
    if (!digest || !stat.sparse) return digest;
    if (int code = setSize(target.number(), stat.size)) return writeProblem(code);
    return digest;
}

std::vector<std::size_t> changedBlocks(const ContentDigest& now, std::span<const Digest> old)
{
    std::vector<std::size_t> changed;
    for (std::size_t i = 0; i < now.blocks.size(); ++i) {
        if (i >= old.size() || now.blocks[i] != old[i]) changed.push_back(i);
    }
    return changed;
}

bool copyWithoutMoving(const Descriptor& old, std::int64_t size, const Descriptor& target, const std::stop_token& stop)
{
    constexpr std::int64_t kChunk = std::int64_t{32} << 20; // a stop request is noticed between two chunks
    if (seam::ask(seam::Operation::Write, target.number(), "") != 0) return false;
    if (disk::system().clone(target.number(), old.number()) == 0) return true;
    if (!disk::copiesOnServer(target.number())) return false;
    off_t from = 0;
    off_t to = 0;
    while (from < size) {
        if (stop.stop_requested()) return false;
        const auto length = static_cast<std::size_t>(std::min(kChunk, size - from));
        const ssize_t copied = disk::system().copy_file_range(old.number(), &from, target.number(), &to, length);
        if (copied < 0 && errno == EINTR) continue;
        if (copied <= 0) return false;
    }
    return true;
}

int copyBlocks(const Descriptor& source, const Stat& stat, const Descriptor& target, const ContentDigest& now,
               std::span<const std::size_t> blocks, const std::stop_token& stop, const ByteCounter& count)
{
    for (const std::size_t number : blocks) {
        if (stop.stop_requested()) return ECANCELED;
        const auto offset = static_cast<std::int64_t>(number) * kBlockBytes;
        const auto length = static_cast<std::size_t>(std::min(kBlockBytes, stat.size - offset));
        if (int code = moveTo(source.number(), offset)) return code;
        const ssize_t got = readFully(source.number(), blockBuffer(), length);
        if (got < 0) return static_cast<int>(-got);
        const std::string_view bytes{blockBuffer(), static_cast<std::size_t>(got)};
        if (bytes.size() < length || digestOf(bytes) != now.blocks[number]) return EAGAIN;
        if (int code = moveTo(target.number(), offset)) return code;
        if (int code = writeAll(target.number(), bytes)) return code;
        count(bytes.size());
    }
    return setSize(target.number(), stat.size);
}

} // namespace braid
