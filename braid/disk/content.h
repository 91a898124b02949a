#pragma once

#include <functional>
#include <optional>
#include <stop_token>
#include <string_view>

#include "descriptor.h"
#include "facts.h"
#include "problem.h"

namespace braid
{

Digest digestOf(std::string_view bytes);

/// Told of bytes that were read or written, as they go.
using ByteCounter = std::function<void(std::uint64_t bytes)>;

/// The digest of the file `name` if it is the one that `seen` describes before and after reading; EAGAIN if it is
/// not, ECANCELED after a stop request.
Outcome<Digest> digestFile(int folder, const char* name, const Stat& seen, const std::stop_token& stop);

/// The digest of a link's target.
Outcome<Digest> digestLink(int folder, const char* name);

/// Copies everything from the start of `source` to the start of the empty file `target`, keeping holes. The digest
/// is there when the bytes passed through this process; large files are left to the kernel, which may clone them.
Outcome<std::optional<Digest>> copyContent(const Descriptor& source, const Stat& sourceStat, const Descriptor& target,
                                           const std::stop_token& stop, const ByteCounter& count);

} // namespace braid
