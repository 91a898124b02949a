#pragma once

#include <functional>
#include <span>
#include <stop_token>
#include <string_view>
#include <vector>

#include "descriptor.h"
#include "facts.h"
#include "problem.h"

namespace braid
{

/// Content is compared and brought up to date in blocks of this size.
inline constexpr std::int64_t kBlockBytes = std::int64_t{1} << 20;
/// From this size on it is worth remembering the blocks, to carry over only those that changed.
inline constexpr std::int64_t kLargeFile = 4 * kBlockBytes;

Digest digestOf(std::string_view bytes);

/// What a file's content comes down to.
struct ContentDigest {
    Digest whole;               ///< Of the bytes; of a file with more than one block of the digests of its blocks.
    std::vector<Digest> blocks; ///< Of a file with more than one.
    bool isDatabase = false;    ///< The file begins as an SQLite database does.
};

inline constexpr std::string_view kDatabaseStart{"SQLite format 3\0", 16};
inline bool isDatabaseStart(std::string_view bytes)
{
    return bytes.starts_with(kDatabaseStart);
}

/// Told of bytes that were read or written, as they go.
using ByteCounter = std::function<void(std::uint64_t bytes)>;

/// Reads the open file from its start; holes are not read. ECANCELED after a stop request.
Outcome<ContentDigest> digestOpen(const Descriptor& file, const Stat& stat, const std::stop_token& stop);

/// The digest of the file `name` if it is the one that `seen` describes before and after reading; EAGAIN if it is
/// not.
Outcome<Digest> digestFile(int folder, const char* name, const Stat& seen, const std::stop_token& stop);

/// The digest of a link's target.
Outcome<Digest> digestLink(int folder, const char* name);

/// Copies everything from the start of `source` to the start of the empty file `target`, keeping holes. A large file
/// is cloned where both lie on a file system that can.
Outcome<ContentDigest> copyContent(const Descriptor& source, const Stat& stat, const Descriptor& target,
                                   const std::stop_token& stop, const ByteCounter& count);

/// The numbers of the blocks that are not those of `old`, and of those behind its end.
std::vector<std::size_t> changedBlocks(const ContentDigest& now, std::span<const Digest> old);

/// Makes the empty file `target` a copy of `old`, which lies on the same file system, without moving its bytes: by
/// cloning, or on the file server. False where that cannot be done; `target` may hold something then.
bool copyWithoutMoving(const Descriptor& old, std::int64_t size, const Descriptor& target, const std::stop_token& stop);

/// Writes these blocks of `source` into `target`, which holds the others already, and gives it the size of `source`.
/// EAGAIN: a block is no longer what `now` says.
int copyBlocks(const Descriptor& source, const Stat& stat, const Descriptor& target, const ContentDigest& now,
               std::span<const std::size_t> blocks, const std::stop_token& stop, const ByteCounter& count);

} // namespace braid
