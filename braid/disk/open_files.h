#pragma once

#include <cstddef>

namespace braid::disk
{

/// How many files this process may have open at once.
std::size_t mostOpenFiles();
/// Raises that to so many, or as far as the process may; what it starts has the same from then on.
void allowOpenFiles(std::size_t number);

} // namespace braid::disk
