#pragma once

#include <cstdint>
#include <string>

#include "braid/engine.h"

/// How the commands put facts into words.
namespace braid::cli
{

/// "812 bytes", "1.2 MB".
std::string sizeText(std::uint64_t bytes);

/// "2026-01-31 23:59" by the clock of the person; empty for 0.
std::string timeText(std::int64_t nanoseconds);
/// "2026-01-31T23:59:59Z".
std::string isoTime(std::int64_t nanoseconds);

/// "changed on both sides: here 5 bytes, 2026-01-31 23:59; on the network 6 bytes, …".
std::string conflictWords(const Conflict& conflict);

/// As part of a sentence, "file" or "folder" …
const char* kindWord(Kind kind);

} // namespace braid::cli
