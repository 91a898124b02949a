#pragma once

#include <ctime>
#include <filesystem>
#include <string>
#include <vector>

#include "braid/disk/facts.h"
#include "braid/disk/problem.h"

/// The trash of a home as a person uses it, between passes.
namespace braid
{

/// A file or link (or an empty folder) that a pass deleted or replaced. An SQLite database stands for its journals, too.
struct TrashedVersion {
    std::string pass;     ///< Name of the pass; sorts by time.
    std::time_t when = 0; ///< Of the pass.
    std::string path;     ///< Where it lay in the home; a second version from one pass ends in "~2".
    Stat stat;
};

/// Newest pass first, then by path. A home without a trash has none.
Outcome<std::vector<TrashedVersion>> listTrash(const std::filesystem::path& home);

/// Copies the version back to where it lay, or, where something lies there now, beside it under a clear name. Answers
/// the path in the home that it got. The trash keeps its version; nothing that exists is changed, neither through a
/// journal that a database there would take for its own. A database comes back with its journals taken in.
Outcome<std::string> restoreVersion(const std::filesystem::path& home, const TrashedVersion& version);

/// Removes for good what passes before that time put into the trash; answers how many passes' worth that was.
Outcome<std::size_t> emptyTrash(const std::filesystem::path& home, std::time_t before);

} // namespace braid
