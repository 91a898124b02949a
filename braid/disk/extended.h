#pragma once

#include <cstdint>

#include "problem.h"

/// The extended attributes that people and programs set ("user.…") and the POSIX access control lists; the kernel's
/// other namespaces do not travel. A list stays behind, silently, where the target has none or refuses it.
namespace braid::extended
{

/// A number that is the same for the same names and values; 0 for none, and where the file system keeps none.
Outcome<std::uint64_t> hashOf(int folder, const char* name);

/// Makes the attributes of the target those of the source, and answers their hash as the target now holds them. A
/// target file system without such attributes is no problem.
Outcome<std::uint64_t> copy(int sourceFolder, const char* source, int targetFolder, const char* target);

/// The hashes on both sides after copying.
struct Copied {
    std::uint64_t source = 0;
    std::uint64_t target = 0;
};
/// The same between two open files.
Outcome<Copied> copyOpen(int sourceFile, int targetFile);

} // namespace braid::extended
